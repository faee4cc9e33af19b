// SPDX-License-Identifier: BSD-2-Clause-Patent
// A run as text for a machine to compare: one line for each operation of the
// library, in the order of the calls.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace testlib {

// A line in the making. Its text is terminated; what does not fit is left out.
struct TranscriptLine {
  std::array<char16_t, 4096> text{};
  std::size_t length = 0;
};

// Appends text as it stands.
void AppendPlain(TranscriptLine& line, const char16_t* text);

// Appends the text in quotation marks. \n \r \t \" \\ stand for
// themselves, \uXXXX for every other character outside 0x20 to 0x7E.
void AppendQuoted(TranscriptLine& line, const char16_t* text);

// Append the number, in decimal or as 0x and lower-case digits.
void AppendDecimal(TranscriptLine& line, std::uint64_t number);
void AppendHexadecimal(TranscriptLine& line, std::uint64_t number);

}  // namespace testlib
