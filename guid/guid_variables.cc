#include "guid/guid_variables.h"

#include <cstring>

#include "guid/builder.h"
#include "guid/flash.h"
#include "pci/access.h"
#include "platform/collation.h"
#include "platform/memory.h"
#include "platform/numbers.h"
#include "platform/text.h"
#include "platform/variables.h"
#include "report/environment.h"
#include "report/last_error.h"
#include "report/report.h"
#include "smbios/structures.h"

namespace mfgtest {
namespace {

constexpr EFI_GUID kMfgVariableGuid = {0xEC87D643, 0xEBA4, 0x4BB5, {0xA1, 0xE5, 0x3F, 0x3E, 0x36, 0xB2, 0x0D, 0xA9}};
// Where the EFI 1.x shell keeps its variables.
constexpr EFI_GUID kShellVariableGuid = {0x47C7B224, 0xC42A, 0x11D2, {0x8E, 0x57, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};
constexpr std::uint32_t kNonVolatileAtAllTimes = 7;

constexpr unsigned kUuid = 0x08;
constexpr UINTN kParameterLength = 50;
constexpr UINTN kEnvironmentNameLength = 128;
constexpr std::size_t kShellTextBytes = 140;
constexpr std::size_t kReadBackBytes = 70;

constexpr std::uint32_t kGuidHigh = 0x24;
constexpr std::uint32_t kGuidLow = 0x28;
constexpr std::uint32_t kBarFlags = 0x0F;

using ParameterText = std::array<char16_t, kParameterLength + 1>;

// A parameter that names one NV variable and nothing else.
struct NameParameter {
  const char16_t* name;
  const char16_t* required;
  CheckedFormat<> missing;
  CheckedFormat<> invalid;
};

constexpr NameParameter kSystemUuidName{
    u"MARWICK_GUID_NAME",
    u"MfgSystemUuid",
    "\r\nFailed to get param: MARWICK_GUID_NAME\r\n",
    "\r\nInvalid value for MARWICK_GUID_NAME, MARWICK_GUID_NAME should set to 'MfgSystemUuid'.\r\n",
};
constexpr NameParameter k1394UuidName{
    u"1394_GUID_NAME",
    u"Mfg1394Uuid",
    "\r\nFailed to get param: 1394_GUID_NAME\r\n",
    "\r\nInvalid value for 1394_GUID_NAME, 1394_GUID_NAME should be set to 'Mfg1394Uuid'.\r\n",
};

bool RequireName(const NameParameter& parameter, ParameterText& value) {
  if (TestLib->GetParamString(parameter.name, value.data(), kParameterLength) != kTestLibrarySuccess) {
    report::ReportError(ErrorCode::kParameterUnreadable, parameter.missing);
    return false;
  }
  if (platform::EqualIgnoringCase(value.data(), parameter.required)) return true;
  report::ReportError(ErrorCode::kParameterUnreadable, parameter.invalid);
  return false;
}

// Whether a probe's parameter names the variable; "NO" says that the platform
// has none.
bool ProbeName(const NameParameter& parameter, ParameterText& value) {
  for (char16_t& c : value) c = ToUpperAscii(c);
  if (platform::EqualIgnoringCase(value.data(), u"NO")) return false;
  return platform::EqualIgnoringCase(value.data(), parameter.required);
}

bool ReadProbeName(const NameParameter& parameter, ParameterText& value) {
  return TestLib->GetParamString(parameter.name, value.data(), kParameterLength) == kTestLibrarySuccess;
}

void ShowBytes(std::uint32_t mask, std::span<const std::uint8_t> bytes) {
  for (const std::uint8_t byte : bytes) report::DebugPrint(mask, "%02x ", byte);
}

bool ShowNvVariable(const char16_t* name) {
  report::DebugPrint(kDebugTrace, "Getting %s NV variable...\n", name);
  std::array<std::uint8_t, kReadBackBytes> data{};
  std::size_t size = 0;
  if (EFI_ERROR(platform::ReadVariableInto(name, kMfgVariableGuid, data, &size))) {
    report::ReportError(ErrorCode::kParameterUnreadable, "\r\n%s NV Variable not found.\r\n", name);
    return false;
  }
  report::DebugPrint(kDebugTrace, "%s: ", name);
  ShowBytes(kDebugTrace, std::span(data).first(size));
  report::DebugPrint(kDebugTrace, "\n");
  return true;
}

bool StoreNvVariable(const char16_t* name, std::span<const std::uint8_t> data) {
  const EFI_STATUS status = platform::WriteVariable(name, kMfgVariableGuid, kNonVolatileAtAllTimes, data);
  if (!EFI_ERROR(status) && ShowNvVariable(name)) return true;
  report::ReportError(ErrorCode::kVariableNotSet, "\nFailed to Set %s NV Variable.\n%s", name, LastError());
  return false;
}

void ShowBuiltGuid(const RawGuid& raw) {
  report::DebugPrint(kDebugProgress, "GUID in Byte Array: ");
  ShowBytes(kDebugProgress, raw);
  report::DebugPrint(kDebugProgress, "\r\n");
  const EFI_GUID guid = AsEfiGuid(raw);
  report::DebugPrint(kDebugTrace, "GUID in EFI_GUID: %08x-%04x-%04x-%02x%02x-", guid.Data1, guid.Data2, guid.Data3,
                     guid.Data4[0], guid.Data4[1]);
  for (std::size_t i = 2; i < sizeof guid.Data4; ++i) report::DebugPrint(kDebugTrace, "%02x", guid.Data4[i]);
  report::DebugPrint(kDebugProgress, "\r\n");
  report::DebugPrint(kDebugTrace, "Set to NV Variable...\n");
}

// The text of the shell variable that the factory's tools leave for us.
struct ShellText {
  std::array<char16_t, kShellTextBytes / sizeof(char16_t) + 1> buffer{};

  const char16_t* Text() const { return buffer.data(); }
};

bool ReadShellText(const char16_t* name, ShellText& text) {
  report::DebugPrint(kDebugProgress, "Get 1394 GUID from env variable...\r\n");
  const std::span<std::uint8_t> bytes(reinterpret_cast<std::uint8_t*>(text.buffer.data()), kShellTextBytes);
  std::size_t size = 0;
  if (!EFI_ERROR(platform::ReadVariableInto(name, kShellVariableGuid, bytes, &size))) return true;
  report::ReportError(ErrorCode::kParameterUnreadable, "\r\nFailed to get %s env variable.\r\n", name);
  return false;
}

struct PciIds {
  std::uint32_t device = 0;
  std::uint32_t vendor = 0;

  std::uint16_t Device() const { return static_cast<std::uint16_t>(device); }
  std::uint16_t Vendor() const { return static_cast<std::uint16_t>(vendor); }
};

// The name of the parameter that is missing, or null.
const char16_t* ReadPciIds(PciIds* ids) {
  if (TestLib->GetParamNumber(u"1394_DEVICE_ID", &ids->device) != kTestLibrarySuccess) return u"1394_DEVICE_ID";
  if (TestLib->GetParamNumber(u"1394_VENDOR_ID", &ids->vendor) != kTestLibrarySuccess) return u"1394_VENDOR_ID";
  return nullptr;
}

bool Find1394Controller(const PciIds& ids, std::uint32_t* address) {
  return FindPciDevice(ids.Vendor(), ids.Device(), 0, address);
}

bool Require1394Controller(std::uint32_t* address) {
  PciIds ids;
  if (const char16_t* const missing = ReadPciIds(&ids)) {
    report::ReportError(ErrorCode::kParameterUnreadable, "\r\nFailed to get param: %s\r\n", missing);
    return false;
  }
  if (ids.vendor == 0 && ids.device == 0) {
    report::ReportError(ErrorCode::kDeviceOrValue, "\r\nInvalid Vendor ID: 0x%04x and Device ID: 0x%04x.\r\n",
                        ids.vendor, ids.device);
    return false;
  }
  if (Find1394Controller(ids, address)) return true;
  report::ReportError(ErrorCode::kDeviceOrValue,
                      "\r\nFailed to locate the PCI device with Vendor ID: 0x%04x and Device ID: 0x%04x.\r\n",
                      ids.vendor, ids.device);
  return false;
}

bool Read1394Registers(std::uint32_t address, std::uint64_t* eui64) {
  report::DebugPrint(kDebugTrace, "Device address: 0x%X\n", address);
  report::DebugPrint(kDebugTrace, "Bus: 0x%x, Dev: 0x%x, Func: 0x%x, Reg: 0x%x\n", address >> 24, address >> 16 & 0xFF,
                     address >> 8 & 0xFF, address & 0xFF);
  std::uint32_t bar = 0;
  if (!ReadPciBar(address, 0, &bar)) {
    report::ReportError(ErrorCode::kDeviceOrValue, "\r\nFailed to get the BAR address.\r\n");
    return false;
  }
  const std::uint32_t base = bar & ~kBarFlags;
  std::uint32_t high = 0;
  if (!MemReadDword(base, kGuidHigh, &high)) {
    report::ReportError(ErrorCode::kDeviceOrValue, "\r\nFailed to get GUID_Hi.\r\n");
    return false;
  }
  std::uint32_t low = 0;
  if (!MemReadDword(base, kGuidLow, &low)) {
    report::ReportError(ErrorCode::kDeviceOrValue, "\r\nFailed to get GUID_Lo.\r\n");
    return false;
  }
  report::DebugPrint(kDebugTrace, "GUID_Hi: 0x%X, GUID_Lo: 0x%X\n", high, low);
  *eui64 = (std::uint64_t{high} << 32) + low;
  report::DebugPrint(kDebugTrace, "EUI64: 0x%lX\n", *eui64);
  return true;
}

bool Probe1394Uuid() {
  PciIds ids;
  if (const char16_t* const missing = ReadPciIds(&ids)) {
    SetLastError("Failed to get param: %s.", missing);
    return false;
  }
  std::uint32_t address = 0;
  if (!Find1394Controller(ids, &address)) {
    SetLastError("Failed to locate PCI device with Vendor ID: 0x%04x and Device ID: 0x%04x.", ids.vendor, ids.device);
    return false;
  }
  ParameterText name{};
  if (!ReadProbeName(k1394UuidName, name)) {
    SetLastError("Failed to get param: %s.", k1394UuidName.name);
    return false;
  }
  if (ProbeName(k1394UuidName, name)) return true;
  SetLastError("%s is %s.", k1394UuidName.name, name.data());
  return false;
}

}  // namespace

void CopyGuidToEnvironment() {
  SmbiosStructure system;
  if (!GetSmbiosStructure(1, 0, &system)) {
    return report::ReportError(ErrorCode::kSmbiosStructureMissing, "\nFailed to get SMBIOS System Structure.\n%s",
                               LastError());
  }
  RawGuid b;
  for (unsigned i = 0; i < kGuidBytes; ++i) b[i] = system.Byte(kUuid + i);
  report::DebugPrint(kDebugProgress, "Raw Flash GUID = ");
  ShowBytes(kDebugProgress, b);
  report::DebugPrint(kDebugProgress, "\r\n");
  std::array<char16_t, 2 * kGuidBytes + 1> text;
  FormatText(text, "%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x", b[0], b[1], b[2], b[3], b[4],
             b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
  report::DisplayPrint("Raw GUIDStr=%s\n", text.data());

  std::array<char16_t, kEnvironmentNameLength + 1> name{};
  if (TestLib->GetParamString(u"GUID_ENV_VARIABLE", name.data(), kEnvironmentNameLength) != kTestLibrarySuccess) {
    report::LogMessage("\nNo GUID_ENV_VARIABLE was specified. Using 'GUID'.\n");
    CopyChars(name.data(), u"GUID", kEnvironmentNameLength);
  }
  if (!SetShellEnvVariable(name.data(), text.data())) {
    report::ReportError(ErrorCode::kVariableNotSet, "\nFailed to Set Env Variable.\n%s", LastError());
  }
}

bool DumpFlashGuid() {
  std::uint32_t block = 0;
  std::uint32_t offset = 0;
  if (!RequireFlashParameter(u"FlashAddress", &block)) return false;
  if (!RequireFlashParameter(u"GuidOffsetInFlash", &offset)) return false;
  const std::uint32_t address = block + offset;
  report::LogMessage("Flash memory values at %08.8x: ", address);
  const std::uint8_t* const bytes = platform::PhysicalMemory(address);
  for (std::size_t i = 0; i < kGuidBytes; ++i) report::LogMessage("%02.2x ", bytes[i]);
  report::LogMessage("\r\n");
  return true;
}

bool WriteMfgSystemUuid(bool probe) {
  ParameterText name{};
  if (probe) {
    if (ReadProbeName(kSystemUuidName, name)) return ProbeName(kSystemUuidName, name);
    report::LogMessage("\r\nMARWICK_GUID_NAME parameter not found.\r\n");
    return false;
  }
  report::DebugPrint(kDebugProgress, "Creating a GUID.\r\n");
  RawGuid guid{};
  if (!BuildGuid(&guid)) {
    report::ReportError(ErrorCode::kGuidNotBuilt, "\r\nFailed to build GUID.%s\r\n", LastError());
    return false;
  }
  ShowBuiltGuid(guid);
  return RequireName(kSystemUuidName, name) && StoreNvVariable(name.data(), guid);
}

bool WriteMfg1394Uuid(bool probe) {
  ParameterText name{};
  if (probe) {
    if (ReadProbeName(k1394UuidName, name)) return ProbeName(k1394UuidName, name);
    report::LogMessage("\r\n1394_GUID_NAME parameter not found.\r\n");
    return false;
  }
  if (!RequireName(k1394UuidName, name)) return false;
  const platform::PoolBuffer buffer = platform::AllocatePool(sizeof(std::uint64_t));
  if (buffer.data == nullptr) {
    report::ReportError(ErrorCode::kOutOfMemory, "Failed to allocate memory for the EUI64\r\n");
    return false;
  }
  ShellText text;
  if (!ReadShellText(name.data(), text)) return false;
  report::DebugPrint(kDebugTrace, "1394 GUID from env Variable: %s\n", text.Text());
  report::DebugPrint(kDebugTrace, "Set to NV Variable...\n");
  std::uint64_t eui64 = platform::HexadecimalNumber(text.Text());
  report::DebugPrint(kDebugTrace, "EUI64: 0x%lX\n", eui64);
  SwapHalves64(&eui64);
  report::DebugPrint(kDebugTrace, "EUI64 after swap: 0x%lX\n", eui64);
  std::memcpy(buffer.data, &eui64, sizeof eui64);
  report::DebugPrint(kDebugTrace, "GUID_Hi: %X\n", static_cast<std::uint32_t>(eui64));
  report::DebugPrint(kDebugTrace, "GUID_Lo: %X\n", static_cast<std::uint32_t>(eui64 >> 32));
  return StoreNvVariable(name.data(), {static_cast<const std::uint8_t*>(buffer.data), sizeof eui64});
}

bool Verify1394Uuid(bool probe) {
  if (probe) return Probe1394Uuid();
  ParameterText name{};
  std::uint32_t address = 0;
  if (!RequireName(k1394UuidName, name) || !Require1394Controller(&address)) return false;
  std::uint64_t registers = 0;
  if (!Read1394Registers(address, &registers)) return false;
  ShellText text;
  if (!ReadShellText(name.data(), text)) return false;
  report::DebugPrint(kDebugProgress, "StrGUID: %s\n", text.Text());
  const std::uint64_t expected = platform::HexadecimalNumber(text.Text());
  report::DebugPrint(kDebugProgress, "1394GUID: 0x%lX\n", expected);
  if (expected == registers) return true;
  report::ReportError(ErrorCode::kDeviceOrValue,
                      "\r\nVerify 1394 GUID test failed. Expected: 0x%lX Received: 0x%lX\r\n", expected, registers);
  return false;
}

}  // namespace mfgtest
