// SPDX-License-Identifier: BSD-2-Clause-Patent
// Small string services that the tests share.
#pragma once

namespace platform {

// Copies `count` characters of `source`, or all of it with its terminator when
// it is shorter, and writes a terminator at the next position: a short source
// leaves two. `destination` holds at least `count` + 1 characters. Returns
// `destination`.
char16_t* CopyChars(char16_t* destination, const char16_t* source, unsigned long count);

// Compares without regard to the case of ASCII letters. Returns the difference
// of the first two characters that differ, upper-cased; 0 for equal strings.
int StriCmpAscii(const char16_t* a, const char16_t* b);

// Whether two strings are the same, character by character.
bool SameText(const char16_t* a, const char16_t* b);

// The letters a to z upper-cased, every other character unchanged.
char16_t ToUpperAscii(char16_t c);

// Removes blanks (0x20 only) from the end, but never the first character.
void TrimTrailingSpaces(char16_t* text);

}  // namespace platform
