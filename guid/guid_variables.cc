// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "guid/guid_variables.h"

#include "guid/builder.h"
#include "guid/nv_variables.h"
#include "platform/memory.h"
#include "platform/text.h"
#include "report/environment.h"
#include "report/last_error.h"
#include "report/parameters.h"
#include "report/report.h"
#include "smbios/fields.h"

namespace mfgtest {
namespace {

constexpr std::size_t kEnvironmentNameBytes = 128;

constexpr NameParameter kSystemUuidName{
    u"MARWICK_GUID_NAME",
    u"MfgSystemUuid",
    "\r\nFailed to get param: MARWICK_GUID_NAME\r\n",
    "\r\nInvalid value for MARWICK_GUID_NAME, MARWICK_GUID_NAME should set to 'MfgSystemUuid'.\r\n",
};

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

}  // namespace

void CopyGuidToEnvironment() {
  SmbiosStructure system;
  if (!GetSmbiosStructure(fields::system::kType, 0, &system)) {
    return report::ReportError(ErrorCode::kSmbiosStructureMissing, "\nFailed to get SMBIOS System Structure.\n%s",
                               LastError());
  }
  const RawGuid b = SystemUuid(system);
  report::DebugPrint(kDebugProgress, "Raw Flash GUID = ");
  ShowBytes(kDebugProgress, b);
  report::DebugPrint(kDebugProgress, "\r\n");
  std::array<char16_t, 2 * kGuidBytes + 1> text;
  FormatText(text, "%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x", b[0], b[1], b[2], b[3], b[4],
             b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
  report::DisplayPrint("Raw GUIDStr=%s\n", text.data());

  std::array<char16_t, kEnvironmentNameBytes + 1> name{};
  if (ReadText(u"GUID_ENV_VARIABLE", name.data(), kEnvironmentNameBytes) != ParameterResult::kRead) {
    report::LogMessage("\nNo GUID_ENV_VARIABLE was specified. Using 'GUID'.\n");
    platform::CopyChars(name.data(), u"GUID", kEnvironmentNameBytes);
  }
  if (!SetShellEnvVariable(name.data(), text.data())) {
    report::ReportError(ErrorCode::kVariableNotSet, "\nFailed to Set Env Variable.\n%s", LastError());
  }
}

bool DumpFlashGuid() {
  std::uint32_t block = 0;
  std::uint32_t offset = 0;
  if (!RequireNumber(u"FlashAddress", &block)) return false;
  if (!RequireNumber(u"GuidOffsetInFlash", &offset)) return false;
  const std::uint32_t address = block + offset;
  report::LogMessage("Flash memory values at %08.8x: ", address);
  const std::uint8_t* const bytes = platform::PhysicalMemory(address);
  for (std::size_t i = 0; i < kGuidBytes; ++i) report::LogMessage("%02.2x ", bytes[i]);
  report::LogMessage("\r\n");
  return true;
}

bool WriteMfgSystemUuid(Mode mode) {
  VariableName name{};
  if (mode == Mode::kProbe) {
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

}  // namespace mfgtest
