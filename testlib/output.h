// SPDX-License-Identifier: BSD-2-Clause-Patent
// How the library speaks to the operator.
#pragma once

#include "platform/say.h"
#include "testlib/parameters.h"

namespace testlib {

using platform::Colour;
using platform::Say;

// Whether this run shows its operations as transcript lines. The operator's
// output is left out then, but for errors of the command line and the verdict.
bool Tracing();

// What the operator reads of the test.
void Show(const char16_t* text, Colour colour = Colour::kNormal);

// What the library has to add, on a line of its own.
template <class... Args>
void Note(Format<Args...> format, const Args&... arguments) {
  if (Tracing()) return;
  platform::StartLine();
  Say(Colour::kNotice, format, arguments...);
}

// Where a parameter was given, in words.
using OriginText = std::array<char16_t, 320>;
OriginText OriginOf(const Parameter& parameter);

// An error stands out on lines of its own: the label, then the message. Empty
// lines around the message go, its further lines are indented.
void ShowError(const char16_t* label, const char16_t* message);

// The lists and tables. Each begins on a fresh line.
void ShowTests();
void ShowParameters();
void ShowParametersOf(std::uint32_t test);
void ShowSummary();
void ShowRuns();  // the summary but for its last line
void ShowRunResults();
void ShowVerdict();

}  // namespace testlib
