// SPDX-License-Identifier: BSD-2-Clause-Patent
// Shows the operations of a run as transcript lines, when that was asked for.
#pragma once

#include "testlib/transcript.h"

namespace testlib {

// Starts a line with the operation's name.
TranscriptLine& BeginTrace(const char16_t* operation);

// Shows the line, in pieces that a console of 80 columns does not wrap: "@ "
// begins a line, "@+" goes on with it.
void EndTrace();

// Whole lines: the operation, then what it was given.
void TraceText(const char16_t* operation, const char16_t* text);
void TraceNumber(const char16_t* operation, std::uint64_t number);
void TraceNumberAndText(const char16_t* operation, std::uint64_t number, const char16_t* text);

}  // namespace testlib
