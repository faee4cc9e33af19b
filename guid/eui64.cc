// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "guid/eui64.h"

#include <cstring>

#include "guid/guid_text.h"
#include "guid/nv_variables.h"
#include "pci/access.h"
#include "platform/memory.h"
#include "platform/numbers.h"
#include "platform/variables.h"
#include "report/last_error.h"
#include "report/parameters.h"
#include "report/report.h"

namespace mfgtest {
namespace {

// Where the EFI 1.x shell keeps its variables.
constexpr EFI_GUID kShellVariableGuid = {0x47C7B224, 0xC42A, 0x11D2, {0x8E, 0x57, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};
constexpr std::size_t kShellTextBytes = 140;

constexpr std::uint32_t kGuidHigh = 0x24;
constexpr std::uint32_t kGuidLow = 0x28;
constexpr std::uint32_t kBarFlags = 0x0F;

constexpr NameParameter k1394UuidName{
    u"1394_GUID_NAME",
    u"Mfg1394Uuid",
    "\r\nFailed to get param: 1394_GUID_NAME\r\n",
    "\r\nInvalid value for 1394_GUID_NAME, 1394_GUID_NAME should be set to 'Mfg1394Uuid'.\r\n",
};

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
  if (!ReadNumber(u"1394_DEVICE_ID", &ids->device)) return u"1394_DEVICE_ID";
  if (!ReadNumber(u"1394_VENDOR_ID", &ids->vendor)) return u"1394_VENDOR_ID";
  return nullptr;
}

bool Find1394Controller(const PciIds& ids, std::uint32_t* address) {
  return FindPciDevice(ids.Vendor(), ids.Device(), 0, address);
}

bool Require1394Controller(std::uint32_t* address) {
  PciIds ids;
  if (const char16_t* const missing = ReadPciIds(&ids)) return FailOnParameter(missing);
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
  VariableName name{};
  if (!ReadProbeName(k1394UuidName, name)) {
    SetLastError("Failed to get param: %s.", k1394UuidName.name);
    return false;
  }
  if (ProbeName(k1394UuidName, name)) return true;
  SetLastError("%s is %s.", k1394UuidName.name, name.data());
  return false;
}

}  // namespace

bool WriteMfg1394Uuid(Mode mode) {
  VariableName name{};
  if (mode == Mode::kProbe) {
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

bool Verify1394Uuid(Mode mode) {
  if (mode == Mode::kProbe) return Probe1394Uuid();
  VariableName name{};
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
