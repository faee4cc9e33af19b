// SPDX-License-Identifier: BSD-2-Clause-Patent
// How the module speaks: one wrapper for each operation of the test library,
// with formats that are checked against their arguments by the compiler.
#pragma once

#include "platform/format.h"
#include "platform/protocols/test_library.h"
#include "report/error_codes.h"

namespace mfgtest {

// The test library's table, bound when the module starts.
extern constinit TestLibrary* TestLib;

namespace report {

// A value as it travels in its 8-byte argument slot.
template <class T>
std::uint64_t Slot(const T& argument) {
  if constexpr (std::signed_integral<T>) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(argument));
  } else if constexpr (std::integral<T>) {
    return argument;
  } else {
    return reinterpret_cast<std::uint64_t>(&*argument);
  }
}

// The call itself, out of line: one copy for each number of arguments, however
// many messages there are.
template <auto kOperation, std::same_as<std::uint64_t>... Slots>
[[gnu::noinline]] void Send(UINTN number, const char* format, Slots... slots) {
  (TestLib->*kOperation)(number, WideFormat(format).text.data(), slots...);
}
template <auto kOperation, std::same_as<std::uint64_t>... Slots>
[[gnu::noinline]] void Send(const char* format, Slots... slots) {
  (TestLib->*kOperation)(WideFormat(format).text.data(), slots...);
}

// A failure of the test: its code and its message.
template <class... Args>
void ReportError(ErrorCode code, Format<Args...> format, const Args&... arguments) {
  Send<&TestLibrary::ReportError>(static_cast<UINTN>(code), format.text, Slot(arguments)...);
}

// A message for whoever selected its class with the debug mask.
template <class... Args>
void DebugPrint(std::uint32_t mask, Format<Args...> format, const Args&... arguments) {
  Send<&TestLibrary::DebugPrint>(mask, format.text, Slot(arguments)...);
}

// A message that is always shown.
template <class... Args>
void LogMessage(Format<Args...> format, const Args&... arguments) {
  Send<&TestLibrary::LogMessage>(format.text, Slot(arguments)...);
}

// The data that a display test is started for.
template <class... Args>
void DisplayPrint(Format<Args...> format, const Args&... arguments) {
  Send<&TestLibrary::DisplayPrint>(format.text, Slot(arguments)...);
}

}  // namespace report
}  // namespace mfgtest
