// SPDX-License-Identifier: BSD-2-Clause-Patent
#include <algorithm>

#include "dump/dump.h"
#include "platform/clock.h"
#include "report/report.h"

namespace dump {
namespace {

constexpr std::uint32_t kLongestWait = 5;  // milliseconds
constexpr TestLibraryStatus kNotFound = 1;

TestLibraryStatus EFIAPI Unsupported() { return kNotFound; }
TestLibraryStatus EFIAPI Initialize(TestDescriptor*) { return kNotFound; }
void EFIAPI Delay(std::uint32_t milliseconds) {
  platform::Wait(std::uint64_t{1000} * std::min(milliseconds, kLongestWait));
}
TestLibraryStatus EFIAPI GetParamNumber(const char16_t* name, std::uint32_t* value) {
  return GetNumber(name, value) ? kTestLibrarySuccess : kNotFound;
}
TestLibraryStatus EFIAPI GetParamString(const char16_t*, char16_t*, UINTN) { return kNotFound; }
void EFIAPI SetResultNumber(const char16_t*, UINTN) {}
void EFIAPI SetResultString(const char16_t*, const char16_t*) {}
void EFIAPI RemoveSubtest(UINTN) {}
void EFIAPI EndTest() {}
void EFIAPI SayNothing(const char16_t*, ...) {}
void EFIAPI SayNothingOf(UINTN, const char16_t*, ...) {}
void EFIAPI Prompt(const char16_t*) {}
void EFIAPI ReadInput(char16_t* answer, UINTN, UINTN) { *answer = 0; }

constinit TestLibrary silent_library = {
    .Initialize = Initialize,
    .unused1 = Unsupported,
    .Delay = Delay,
    .GetParamNumber = GetParamNumber,
    .unused4 = Unsupported,
    .GetParamString = GetParamString,
    .unused6 = {Unsupported, Unsupported, Unsupported, Unsupported},
    .SetResultNumber = SetResultNumber,
    .unused11 = Unsupported,
    .SetResultString = SetResultString,
    .unused13 = {Unsupported, Unsupported},
    .RemoveSubtest = RemoveSubtest,
    .unused16 = {Unsupported, Unsupported, Unsupported},
    .EndTest = EndTest,
    .LogMessage = SayNothing,
    .ReportError = SayNothingOf,
    .unused22 = Unsupported,
    .DisplayPrint = SayNothing,
    .Prompt = Prompt,
    .unused25 = Unsupported,
    .DebugPrint = SayNothingOf,
    .ReadInput = ReadInput,
};

}  // namespace

void BindSilentLibrary() { mfgtest::TestLib = &silent_library; }

bool GetNumber(const char16_t* name, std::uint32_t* number) {
  const testlib::Parameter* const parameter = testlib::Find(the_dump->parameters, name);
  return parameter != nullptr && testlib::ParseNumber(parameter->value.data(), number);
}

}  // namespace dump
