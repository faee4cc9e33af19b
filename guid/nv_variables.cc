// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "guid/nv_variables.h"

#include "platform/collation.h"
#include "platform/text.h"
#include "platform/variables.h"
#include "report/last_error.h"
#include "report/parameters.h"
#include "report/report.h"

namespace mfgtest {
namespace {

constexpr EFI_GUID kMfgVariableGuid = {0xEC87D643, 0xEBA4, 0x4BB5, {0xA1, 0xE5, 0x3F, 0x3E, 0x36, 0xB2, 0x0D, 0xA9}};
// Kept: the variables are stored non-volatile, for boot services and for runtime.
constexpr std::uint32_t kNonVolatileAtAllTimes = 7;

constexpr std::size_t kReadBackBytes = 70;

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

}  // namespace

bool RequireName(const NameParameter& parameter, VariableName& value) {
  if (ReadText(parameter.name, value.data(), kNameBytes) != ParameterResult::kRead) {
    report::ReportError(ErrorCode::kParameterUnreadable, parameter.missing);
    return false;
  }
  if (platform::EqualIgnoringCase(value.data(), parameter.required)) return true;
  report::ReportError(ErrorCode::kParameterUnreadable, parameter.invalid);
  return false;
}

bool ProbeName(const NameParameter& parameter, VariableName& value) {
  for (char16_t& c : value) c = platform::ToUpperAscii(c);
  if (platform::EqualIgnoringCase(value.data(), u"NO")) return false;
  return platform::EqualIgnoringCase(value.data(), parameter.required);
}

bool ReadProbeName(const NameParameter& parameter, VariableName& value) {
  return ReadText(parameter.name, value.data(), kNameBytes) == ParameterResult::kRead;
}

void ShowBytes(std::uint32_t mask, std::span<const std::uint8_t> bytes) {
  for (const std::uint8_t byte : bytes) report::DebugPrint(mask, "%02x ", byte);
}

bool StoreNvVariable(const char16_t* name, std::span<const std::uint8_t> data) {
  const EFI_STATUS status = platform::WriteVariable(name, kMfgVariableGuid, kNonVolatileAtAllTimes, data);
  if (!EFI_ERROR(status) && ShowNvVariable(name)) return true;
  report::ReportError(ErrorCode::kVariableNotSet, "\nFailed to Set %s NV Variable.\n%s", name, LastError());
  return false;
}

}  // namespace mfgtest
