// SPDX-License-Identifier: BSD-2-Clause-Patent
// A run as text for a machine to compare: one line for each operation of the
// library, in the order of the calls.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/protocols/test_library.h"

namespace testlib {

enum class Operation : std::uint8_t {
  kInitialize,
  kDelay,
  kGetParamNumber,
  kGetParamString,
  kSetResultNumber,
  kSetResultString,
  kRemoveSubtest,
  kEndTest,
  kLogMessage,
  kReportError,
  kDisplayPrint,
  kPrompt,
  kDebugPrint,
  kReadInput,
};

// One operation as its line tells it. What an operation gave shows only where
// its status is success.
struct TranscriptCall {
  Operation operation;
  // The test, code, mask, subtest, value, milliseconds or maximum.
  std::uint64_t number = 0;
  std::uint64_t flags = 0;
  TestLibraryStatus status = kTestLibrarySuccess;
  const char16_t* key = u"";
  const char16_t* text = u"";
};

// A line in the making. Its text is terminated; what does not fit is left out.
struct TranscriptLine {
  std::array<char16_t, 4096> text{};
  std::size_t length = 0;
};

// Makes it the line of that call. Texts stand in quotation marks, with \n \r \t
// \" and \\ as C writes them and \uXXXX for every other character outside 0x20
// to 0x7E.
void WriteLine(TranscriptLine& line, const TranscriptCall& call);

}  // namespace testlib
