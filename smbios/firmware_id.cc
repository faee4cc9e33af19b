#include "smbios/firmware_id.h"

#include <algorithm>
#include <cstring>

#include "module/last_error.h"
#include "module/report.h"
#include "module/text.h"
#include "platform/configuration_tables.h"
#include "platform/console.h"
#include "platform/memory.h"
#include "smbios/structures.h"

namespace mfgtest {
namespace {

constexpr EFI_GUID kAcpi10TableGuid = {0xEB9D2D30, 0x2D88, 0x11D3, {0x9A, 0x16, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};
constexpr EFI_GUID kAcpi20TableGuid = {0x8868E871, 0xE4F1, 0x11D3, {0xBC, 0x22, 0x00, 0x80, 0xC7, 0x3C, 0x88, 0x81}};

// RSDP and description header (ACPI, "Root System Description Pointer" and
// "System Description Table Header").
constexpr std::size_t kRsdpBytes = 20;
constexpr std::size_t kRsdtAddress = 16;
constexpr std::size_t kTableLength = 4;
constexpr std::size_t kOemTableId = 16;
constexpr std::size_t kOemTableIdBytes = 8;
constexpr std::uint32_t kTableHeaderBytes = 36;
// No RSDT comes near this; a larger length is that of a damaged header.
constexpr std::uint32_t kLargestRsdt = 0x100000;

constexpr std::uint8_t kBiosVersion = 0x05;
constexpr std::uint8_t kOemStringCount = 0x04;

constexpr UINTN kOemStringBytes = 256;
constexpr UINTN kBiosIdBytes = 100;
constexpr UINTN kOemTableIdParameterBytes = 20;

std::uint32_t ReadDword(const std::uint8_t* bytes) {
  std::uint32_t value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

// Steps over the structure at an offset; false when it does not end in the table.
bool StepOver(const std::uint8_t* table, std::uint32_t end, std::uint32_t* offset) {
  if (*offset + 2 > end) return false;
  *offset += SmbiosStructure{table + *offset}.Length();
  for (; *offset + 2 <= end; ++*offset) {
    if (table[*offset] != 0 || table[*offset + 1] != 0) continue;
    *offset += 2;
    return true;
  }
  return false;
}

// The first BIOS structure that starts in the table, by a walk of its own: the
// table ends where its length says, whatever the count of structures. Only what
// lies before the structure has to end in the table.
bool FindBiosStructure(const SmbiosEntryPoint& entry, SmbiosStructure* bios) {
  const std::uint8_t* const table = platform::PhysicalMemory(entry.table_address);
  const std::uint32_t end = entry.table_length;
  std::uint32_t offset = 0;
  while (table != nullptr && offset < end) {
    const SmbiosStructure structure{table + offset};
    if (structure.Type() == 0) {
      *bios = structure;
      return true;
    }
    if (!StepOver(table, end, &offset)) return false;
  }
  return false;
}

// Gives null, with a message, when there is no valid RSDT.
const std::uint8_t* FindRsdt(const std::uint8_t* rsdp) {
  if (rsdp == nullptr) {
    platform::Write(u"Failed because RSDPtr == NULL\r\n");
    return nullptr;
  }
  if (AcpiChecksum({rsdp, kRsdpBytes}) != 0) {
    platform::Write(u"Failed ComputeChecksum on RSDPtr.\r\n");
    return nullptr;
  }
  // Kept: only the RSDT is looked at, never the XSDT.
  const std::uint8_t* const rsdt = platform::PhysicalMemory(ReadDword(rsdp + kRsdtAddress));
  if (rsdt == nullptr || std::memcmp(rsdt, "RSDT", 4) != 0) {
    platform::Write(u"Failed because RSDPtr->Header.Signature->HexSignature != ACPI_RSDT_SIG\r\n");
    return nullptr;
  }
  const std::uint32_t length = ReadDword(rsdt + kTableLength);
  if (length < kTableHeaderBytes || length > kLargestRsdt || AcpiChecksum({rsdt, length}) != 0) {
    platform::Write(u"Failed ComputeChecksum on RSDTPtr (table ptr)\r\n");
    return nullptr;
  }
  return rsdt;
}

// A value that is not there. When publishing, for Autosense, that is no failure
// but a reason.
bool Fail(bool publish, ErrorCode code, CheckedFormat<> message) {
  if (publish) {
    SetLastError(message);
  } else {
    report::ReportError(code, message);
  }
  return false;
}

// The entry point for test 35. Kept: a platform that does not list it in its
// configuration tables has that recorded as an error, for Autosense too and
// even when the memory search then finds it.
const SmbiosEntryPoint* RequireEntryPoint(bool publish) {
  if (const SmbiosEntryPoint* const listed = ListedSmbiosEntryPoint()) return listed;
  report::ReportError(ErrorCode::kSmbiosEntryPointMissing, "SMBIOS Table not found with GUID, trying memory search\n");
  if (const SmbiosEntryPoint* const found = SearchSmbiosEntryPoint()) return found;
  Fail(publish, ErrorCode::kSmbiosStructureMissing, "Unable to find SMBIOS table entry point\n");
  return nullptr;
}

struct FirmwareId {
  BiosIdText bios{};
  OemTableIdText oem_table{};
};

bool FindFirmwareId(bool publish, FirmwareId* id) {
  const SmbiosEntryPoint* const entry = RequireEntryPoint(publish);
  if (entry == nullptr) return false;
  const auto address = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(entry));
  report::DebugPrint(kDebugProgress, "SMBIOS Table is at address: 0x%x\n", address);
  if (EFI_ERROR(FindBiosId(*entry, &id->bios))) {
    return Fail(publish, ErrorCode::kFirmwareIdMissing, "Unable to find BIOS ID\n");
  }
  FilterIdText(id->bios.data());
  report::DebugPrint(kDebugProgress, "BIOSID: %s\n", id->bios.data());
  if (FindAcpiOemTableId(&id->oem_table) == 0) {
    return Fail(publish, ErrorCode::kFirmwareIdMissing, "Unable to find OEM Table ID\n");
  }
  FilterIdText(id->oem_table.data());
  report::DebugPrint(kDebugProgress, "OEMTableID: %s\n", id->oem_table.data());
  return true;
}

void PublishFirmwareId(const FirmwareId& id) {
  TestLib->SetResultString(u"BIOS_ID", id.bios.data());
  TestLib->SetResultString(u"OEM_TABLE_ID", id.oem_table.data());
  std::array<char16_t, 32> key;
  FormatText(key, "display.cfg:%s", u"BIOS ID");
  TestLib->SetResultString(key.data(), id.bios.data());
}

bool VerifyFirmwareId(const FirmwareId& id) {
  std::array<char16_t, kBiosIdBytes> bios{};
  if (TestLib->GetParamString(u"BIOS_ID", bios.data(), kBiosIdBytes) != kTestLibrarySuccess) {
    report::ReportError(ErrorCode::kParameterUnreadable, "\r\nFailed to get param: BIOS_ID\r\n");
    return false;
  }
  std::array<char16_t, kOemTableIdParameterBytes> oem_table{};
  if (TestLib->GetParamString(u"OEM_TABLE_ID", oem_table.data(), kOemTableIdParameterBytes) != kTestLibrarySuccess) {
    report::ReportError(ErrorCode::kParameterUnreadable, "\r\nFailed to get param: OEM_TABLE_ID\r\n");
    return false;
  }
  if (!SameText(bios.data(), id.bios.data())) {
    report::ReportError(ErrorCode::kFirmwareIdMismatch, "\r\nBIOS ID check failed. Expected: %s Received: %s\r\n",
                        bios.data(), id.bios.data());
    return false;
  }
  if (!SameText(oem_table.data(), id.oem_table.data())) {
    report::ReportError(ErrorCode::kFirmwareIdMismatch, "\r\nOEM TABLE ID check failed. Expected: %s Received: %s\r\n",
                        oem_table.data(), id.oem_table.data());
    return false;
  }
  return true;
}

bool ReadOemParameter(std::array<char16_t, kOemStringBytes>& value) {
  const char16_t* const name = u"OEM_BIOS_String";
  const TestLibraryStatus status = TestLib->GetParamString(name, value.data(), kOemStringBytes);
  if (status == kTestLibrarySuccess) return true;
  if (status == kTestLibraryBufferTooSmall) {
    report::ReportError(ErrorCode::kParameterUnreadable,
                        "\nFailed to get param:%s. \nBuffer too small, buffer size must < %d.\n", name, 128);
  } else {
    report::ReportError(ErrorCode::kParameterUnreadable, "\nFailed to get param:%s\n", name);
  }
  return false;
}

}  // namespace

void VerifyOemBiosString() {
  SmbiosStructure oem;
  if (!GetSmbiosStructure(11, 0, &oem)) {
    return report::ReportError(ErrorCode::kSmbiosStructureMissing, "\nFailed to get SMBIOS System Structure.\n%s\n",
                               LastError());
  }
  report::DebugPrint(kDebugProgress, "\nStructure Header:");
  report::DebugPrint(kDebugProgress, "\nType: 0x%x   ", oem.Type());
  report::DebugPrint(kDebugProgress, "\nLen: 0x%x   ", oem.Length());
  report::DebugPrint(kDebugProgress, "\nHandle: 0x%x", oem.Handle());
  report::DebugPrint(kDebugProgress, "\nCount: 0x%x", oem.Byte(kOemStringCount));
  SmbiosStrings strings;
  CollectStructureStrings(oem, &strings);
  report::DebugPrint(kDebugProgress, "\nNumber of strings found:%d", strings.count);
  char16_t* const last = strings.Numbered(oem.Byte(kOemStringCount));
  const char16_t* const found = last;
  report::DebugPrint(kDebugProgress, "\nOEM BIOS String: %s", found);

  std::array<char16_t, kOemStringBytes> parameter{};
  if (!ReadOemParameter(parameter)) return;
  report::DebugPrint(kDebugProgress, "OEM String from param: %s\n", parameter.data());
  TrimTrailingSpaces(last);
  if (SameText(found, parameter.data())) return;
  // Kept: the platform's string is given as the expected one.
  report::ReportError(ErrorCode::kStringMismatch, "\n%s mismatched. \nExp: \"%s\"\nRec: \"%s\"\n", u"OEM_BIOS_String",
                      found, parameter.data());
}

bool VerifyBiosId(bool publish) {
  FirmwareId id;
  if (!FindFirmwareId(publish, &id)) return false;
  if (!publish) return VerifyFirmwareId(id);
  PublishFirmwareId(id);
  return true;
}

EFI_STATUS FindBiosId(const SmbiosEntryPoint& entry, BiosIdText* text) {
  SmbiosStructure bios;
  if (!FindBiosStructure(entry, &bios)) {
    report::LogMessage("Unable to find SMBIOS table\n");
    return EFI_NOT_FOUND;
  }
  // Kept: a version that is not set reads as the first string.
  const unsigned number = std::max<unsigned>(bios.Byte(kBiosVersion), 1);
  const SmbiosString version = StructureString(bios, number);
  CopyChars(text->data(), version.data(), text->size() - 1);
  return EFI_SUCCESS;
}

int FindAcpiOemTableId(OemTableIdText* text) {
  const void* rsdp = nullptr;
  if (!platform::FindConfigurationTable(kAcpi10TableGuid, &rsdp)) {
    report::DebugPrint(kDebugProgress, "AcpiTableGuid not found, finding Acpi20TableGuid...\n");
    if (!platform::FindConfigurationTable(kAcpi20TableGuid, &rsdp)) {
      platform::Write(u"Failed LibGetSystemConfigurationTable()\r\n");
      return 0;
    }
  }
  const std::uint8_t* const rsdt = FindRsdt(static_cast<const std::uint8_t*>(rsdp));
  if (rsdt == nullptr) return 0;
  AsciiToUnicode(reinterpret_cast<const char*>(rsdt + kOemTableId), text->data(), kOemTableIdBytes);
  return 1;
}

std::uint8_t AcpiChecksum(std::span<const std::uint8_t> bytes) {
  std::uint8_t sum = 0;
  for (const std::uint8_t byte : bytes) sum = static_cast<std::uint8_t>(sum + byte);
  return sum;
}

void FilterIdText(char16_t* text) {
  char16_t* kept = text;
  for (; *text != 0; ++text) {
    const char16_t upper = ToUpperAscii(*text);
    const bool is_letter = upper >= u'A' && upper <= u'Z';
    if (*text == u'.' || format_internal::IsDigit(*text) || is_letter) *kept++ = *text;
  }
  *kept = 0;
}

}  // namespace mfgtest
