// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/transcript.h"

#include "platform/format.h"

namespace testlib {
namespace {

void Append(TranscriptLine& line, char16_t c) {
  if (line.length + 1 == line.text.size()) return;
  line.text[line.length++] = c;
  line.text[line.length] = 0;
}

char16_t EscapeLetter(char16_t c) {
  switch (c) {
    case u'\n':
      return u'n';
    case u'\r':
      return u'r';
    case u'\t':
      return u't';
    case u'"':
    case u'\\':
      return c;
    default:
      return 0;
  }
}

void AppendEscaped(TranscriptLine& line, char16_t c) {
  if (const char16_t letter = EscapeLetter(c); letter != 0) {
    Append(line, u'\\');
    return Append(line, letter);
  }
  if (c >= 0x20 && c <= 0x7E) return Append(line, c);
  AppendPlain(line, u"\\u");
  for (int shift = 12; shift >= 0; shift -= 4) Append(line, u"0123456789ABCDEF"[(c >> shift) & 0xF]);
}

}  // namespace

void AppendPlain(TranscriptLine& line, const char16_t* text) {
  for (; *text != 0; ++text) Append(line, *text);
}

void AppendQuoted(TranscriptLine& line, const char16_t* text) {
  Append(line, u'"');
  for (; *text != 0; ++text) AppendEscaped(line, *text);
  Append(line, u'"');
}

void AppendDecimal(TranscriptLine& line, std::uint64_t number) {
  std::array<char16_t, 24> digits;
  FormatText(digits, "%lu", number);
  AppendPlain(line, digits.data());
}

void AppendHexadecimal(TranscriptLine& line, std::uint64_t number) {
  std::array<char16_t, 24> digits;
  FormatText(digits, "0x%lx", number);
  AppendPlain(line, digits.data());
}

}  // namespace testlib
