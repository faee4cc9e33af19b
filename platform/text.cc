// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/text.h"

#include <string_view>

namespace platform {

char16_t* CopyChars(char16_t* destination, const char16_t* source, unsigned long count) {
  unsigned long copied = 0;
  while (copied < count) {
    const char16_t c = source[copied];
    destination[copied++] = c;
    if (c == 0) break;
  }
  destination[copied] = 0;
  return destination;
}

int StriCmpAscii(const char16_t* a, const char16_t* b) {
  while (*a != 0 && *b != 0 && ToUpperAscii(*a) == ToUpperAscii(*b)) ++a, ++b;
  return ToUpperAscii(*a) - ToUpperAscii(*b);
}

bool SameText(const char16_t* a, const char16_t* b) { return std::u16string_view(a) == b; }

char16_t ToUpperAscii(char16_t c) { return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - u'a' + u'A') : c; }

void TrimTrailingSpaces(char16_t* text) {
  const auto length = std::u16string_view(text).size();
  if (length == 0) return;
  auto last = length - 1;
  // A string of blanks only keeps its first one.
  while (last > 0 && text[last] == u' ') --last;
  text[last + 1] = 0;
}

}  // namespace platform
