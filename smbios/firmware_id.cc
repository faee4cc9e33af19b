// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "smbios/firmware_id.h"

#include <algorithm>

#include "platform/text.h"
#include "report/last_error.h"
#include "report/parameters.h"
#include "report/report.h"
#include "smbios/acpi_tables.h"
#include "smbios/fields.h"

namespace mfgtest {
namespace {

constexpr std::size_t kOemStringBytes = 256;
constexpr std::size_t kBiosIdBytes = 100;
constexpr std::size_t kOemTableIdParameterBytes = 20;

// A value that is not there.
bool Fail(Mode mode, ErrorCode code, CheckedFormat<> message) {
  if (mode == Mode::kProbe) {
    SetLastError(message);
  } else {
    report::ReportError(code, message);
  }
  return false;
}

// The entry point for test 35. Kept: a platform that does not list it in its
// configuration tables has that recorded as an error, for Autosense too and
// even when the memory search then finds it.
const SmbiosEntryPoint* RequireEntryPoint(Mode mode) {
  if (const SmbiosEntryPoint* const listed = ListedSmbiosEntryPoint()) return listed;
  report::ReportError(ErrorCode::kSmbiosEntryPointMissing, "SMBIOS Table not found with GUID, trying memory search\n");
  if (const SmbiosEntryPoint* const found = SearchSmbiosEntryPoint()) return found;
  Fail(mode, ErrorCode::kSmbiosStructureMissing, "Unable to find SMBIOS table entry point\n");
  return nullptr;
}

struct FirmwareId {
  BiosIdText bios{};
  OemTableIdText oem_table{};
};

bool FindFirmwareId(Mode mode, FirmwareId* id) {
  const SmbiosEntryPoint* const entry = RequireEntryPoint(mode);
  if (entry == nullptr) return false;
  const auto address = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(entry));
  report::DebugPrint(kDebugProgress, "SMBIOS Table is at address: 0x%x\n", address);
  if (EFI_ERROR(FindBiosId(*entry, &id->bios))) {
    return Fail(mode, ErrorCode::kFirmwareIdMissing, "Unable to find BIOS ID\n");
  }
  FilterIdText(id->bios.data());
  report::DebugPrint(kDebugProgress, "BIOSID: %s\n", id->bios.data());
  if (FindAcpiOemTableId(&id->oem_table) == 0) {
    return Fail(mode, ErrorCode::kFirmwareIdMissing, "Unable to find OEM Table ID\n");
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
  if (ReadText(u"BIOS_ID", bios.data(), kBiosIdBytes) != ParameterResult::kRead) {
    report::ReportError(ErrorCode::kParameterUnreadable, "\r\nFailed to get param: BIOS_ID\r\n");
    return false;
  }
  std::array<char16_t, kOemTableIdParameterBytes> oem_table{};
  if (ReadText(u"OEM_TABLE_ID", oem_table.data(), kOemTableIdParameterBytes) != ParameterResult::kRead) {
    report::ReportError(ErrorCode::kParameterUnreadable, "\r\nFailed to get param: OEM_TABLE_ID\r\n");
    return false;
  }
  if (!platform::SameText(bios.data(), id.bios.data())) {
    report::ReportError(ErrorCode::kFirmwareIdMismatch, "\r\nBIOS ID check failed. Expected: %s Received: %s\r\n",
                        bios.data(), id.bios.data());
    return false;
  }
  if (!platform::SameText(oem_table.data(), id.oem_table.data())) {
    report::ReportError(ErrorCode::kFirmwareIdMismatch, "\r\nOEM TABLE ID check failed. Expected: %s Received: %s\r\n",
                        oem_table.data(), id.oem_table.data());
    return false;
  }
  return true;
}

bool ReadOemParameter(std::array<char16_t, kOemStringBytes>& value) {
  const char16_t* const name = u"OEM_BIOS_String";
  const ParameterResult result = ReadText(name, value.data(), kOemStringBytes);
  if (result == ParameterResult::kRead) return true;
  if (result == ParameterResult::kTooLong) {
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
  if (!GetSmbiosStructure(fields::oem_strings::kType, 0, &oem)) {
    return report::ReportError(ErrorCode::kSmbiosStructureMissing, "\nFailed to get SMBIOS System Structure.\n%s\n",
                               LastError());
  }
  report::DebugPrint(kDebugProgress, "\nStructure Header:");
  report::DebugPrint(kDebugProgress, "\nType: 0x%x   ", oem.Type());
  report::DebugPrint(kDebugProgress, "\nLen: 0x%x   ", oem.Length());
  report::DebugPrint(kDebugProgress, "\nHandle: 0x%x", oem.Handle());
  report::DebugPrint(kDebugProgress, "\nCount: 0x%x", oem.Byte(fields::oem_strings::kCount));
  SmbiosStrings strings;
  CollectStructureStrings(oem, &strings);
  report::DebugPrint(kDebugProgress, "\nNumber of strings found:%d", strings.count);
  char16_t* const last = strings.Numbered(oem.Byte(fields::oem_strings::kCount));
  const char16_t* const found = last;
  report::DebugPrint(kDebugProgress, "\nOEM BIOS String: %s", found);

  std::array<char16_t, kOemStringBytes> parameter{};
  if (!ReadOemParameter(parameter)) return;
  report::DebugPrint(kDebugProgress, "OEM String from param: %s\n", parameter.data());
  platform::TrimTrailingSpaces(last);
  if (platform::SameText(found, parameter.data())) return;
  // Kept: the platform's string is given as the expected one.
  report::ReportError(ErrorCode::kStringMismatch, "\n%s mismatched. \nExp: \"%s\"\nRec: \"%s\"\n", u"OEM_BIOS_String",
                      found, parameter.data());
}

bool VerifyBiosId(Mode mode) {
  FirmwareId id;
  if (!FindFirmwareId(mode, &id)) return false;
  if (mode == Mode::kTest) return VerifyFirmwareId(id);
  PublishFirmwareId(id);
  return true;
}

EFI_STATUS FindBiosId(const SmbiosEntryPoint& entry, BiosIdText* text) {
  SmbiosStructure bios;
  if (!FindStructureInLength(entry, fields::bios::kType, &bios)) {
    report::LogMessage("Unable to find SMBIOS table\n");
    return EFI_NOT_FOUND;
  }
  // Kept: a version that is not set reads as the first string.
  const unsigned number = std::max<unsigned>(bios.Byte(fields::bios::kVersion), 1);
  const SmbiosString version = StructureString(bios, number);
  platform::CopyChars(text->data(), version.data(), text->size() - 1);
  return EFI_SUCCESS;
}

void FilterIdText(char16_t* text) {
  char16_t* kept = text;
  for (; *text != 0; ++text) {
    const char16_t upper = platform::ToUpperAscii(*text);
    const bool is_letter = upper >= u'A' && upper <= u'Z';
    if (*text == u'.' || format_internal::IsDigit(*text) || is_letter) *kept++ = *text;
  }
  *kept = 0;
}

}  // namespace mfgtest
