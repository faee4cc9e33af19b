// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "report/parameters.h"

#include "platform/collation.h"
#include "platform/text.h"
#include "report/last_error.h"
#include "report/report.h"

namespace mfgtest {

ParameterResult ReadText(const char16_t* name, char16_t* value, std::size_t bytes) {
  switch (TestLib->GetParamString(name, value, bytes)) {
    case kTestLibrarySuccess:
      return ParameterResult::kRead;
    case kTestLibraryBufferTooSmall:
      return ParameterResult::kTooLong;
    default:
      return ParameterResult::kAbsent;
  }
}

bool ReadNumber(const char16_t* name, std::uint32_t* value) {
  return TestLib->GetParamNumber(name, value) == kTestLibrarySuccess;
}

bool FailOnParameter(const char16_t* name, Mode mode, MissingParameter message) {
  SetLastError("Failed to get param: %s", name);
  if (mode == Mode::kTest) report::ReportError(ErrorCode::kParameterUnreadable, message, name);
  return false;
}

bool RequireNumber(const char16_t* name, std::uint32_t* value, Mode mode, MissingParameter message) {
  return ReadNumber(name, value) || FailOnParameter(name, mode, message);
}

ValueReference::ValueReference(const char16_t* value) : whole(value) {
  platform::CopyChars(prefix.data(), value, kPrefixCharacters);
}

bool ValueReference::NamesVariable() const { return platform::EqualIgnoringCase(prefix.data(), u"env="); }

bool ReadNamedVariable(const char16_t* name, CheckedFormat<const char16_t*> missing, EnvironmentValue& value) {
  if (!FindEnvVariable(name, value)) {
    report::ReportError(ErrorCode::kEnvironmentVariableMissing, missing, name);
    return false;
  }
  report::DebugPrint(kDebugProgress, "\n%s=%s", name, value.data());
  return true;
}

}  // namespace mfgtest
