// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/parameter_file.h"

#include "platform/format.h"
#include "testlib/text_part.h"

namespace testlib {
namespace {

enum class Encoding : std::uint8_t { kUtf8, kLittleEndian, kBigEndian };

// A file's content as characters. `error` is null as long as all is well.
struct TextReader {
  std::span<const std::uint8_t> rest;
  Encoding encoding = Encoding::kUtf8;
  const char16_t* error = nullptr;
};

struct Line {
  std::array<char16_t, kLineCharacters> characters;
  std::size_t length = 0;

  std::u16string_view Text() const { return {characters.data(), length}; }
};

constexpr std::uint8_t kUtf8Mark[] = {0xEF, 0xBB, 0xBF};
constexpr std::uint8_t kLittleEndianMark[] = {0xFF, 0xFE};
constexpr std::uint8_t kBigEndianMark[] = {0xFE, 0xFF};

bool SkipMark(TextReader& reader, std::span<const std::uint8_t> mark, Encoding encoding) {
  if (reader.rest.size() < mark.size() || __builtin_memcmp(reader.rest.data(), mark.data(), mark.size()) != 0) {
    return false;
  }
  reader.rest = reader.rest.subspan(mark.size());
  reader.encoding = encoding;
  return true;
}

TextReader Open(std::span<const std::uint8_t> content) {
  TextReader reader{content};
  SkipMark(reader, kUtf8Mark, Encoding::kUtf8) || SkipMark(reader, kLittleEndianMark, Encoding::kLittleEndian) ||
      SkipMark(reader, kBigEndianMark, Encoding::kBigEndian);
  return reader;
}

char16_t Refuse(TextReader& reader, const char16_t* error) {
  reader.error = error;
  return 0;
}

char16_t TakeUcs2(TextReader& reader) {
  if (reader.rest.size() < 2) return Refuse(reader, u"the file ends within a UCS-2 character");
  const unsigned low = reader.rest[reader.encoding == Encoding::kLittleEndian ? 0 : 1];
  const unsigned high = reader.rest[reader.encoding == Encoding::kLittleEndian ? 1 : 0];
  reader.rest = reader.rest.subspan(2);
  return static_cast<char16_t>(low | high << 8);
}

// The bytes that follow a first byte of UTF-8, and the least code point that
// needs them; anything less is an overlong form.
struct Utf8Form {
  std::uint8_t mask;
  std::uint8_t lead;
  std::uint8_t following;
  char16_t least;
};
constexpr Utf8Form kUtf8Forms[] = {{0x80, 0x00, 0, 0}, {0xE0, 0xC0, 1, 0x80}, {0xF0, 0xE0, 2, 0x800}};

char16_t TakeUtf8(TextReader& reader) {
  const std::uint8_t first = reader.rest[0];
  for (const Utf8Form& form : kUtf8Forms) {
    if ((first & form.mask) != form.lead) continue;
    if (reader.rest.size() <= form.following) break;
    unsigned character = first & static_cast<std::uint8_t>(~form.mask);
    for (unsigned i = 1; i <= form.following; ++i) {
      if ((reader.rest[i] & 0xC0) != 0x80) return Refuse(reader, u"expected UTF-8 text, found other bytes");
      character = character << 6 | (reader.rest[i] & 0x3F);
    }
    if (character < form.least) break;
    reader.rest = reader.rest.subspan(form.following + 1u);
    return static_cast<char16_t>(character);
  }
  if ((first & 0xF8) == 0xF0) return Refuse(reader, u"expected a character that UCS-2 has, found one above U+FFFF");
  return Refuse(reader, u"expected UTF-8 text, found other bytes");
}

bool IsPlainAscii(std::uint8_t byte) { return byte >= ' ' && byte < 0x7F; }

char16_t TakeCharacter(TextReader& reader) {
  // Nearly all of a file, which is read anew for every run.
  if (reader.encoding == Encoding::kUtf8 && IsPlainAscii(reader.rest[0])) {
    const char16_t c = reader.rest[0];
    reader.rest = reader.rest.subspan(1);
    return c;
  }
  const char16_t c = reader.encoding == Encoding::kUtf8 ? TakeUtf8(reader) : TakeUcs2(reader);
  if (reader.error != nullptr) return 0;
  if (c >= 0xD800 && c <= 0xDFFF) return Refuse(reader, u"expected a character that UCS-2 has, found a surrogate");
  if (c == 0) return Refuse(reader, u"expected text, found a character 0 (UCS-2 needs a byte-order mark)");
  if ((c < u' ' && c != u'\t' && c != u'\n' && c != u'\r') || c == 0x7F) {
    return Refuse(reader, u"expected text, found a control character");
  }
  return c;
}

// Takes a line without its end. False at a fault and, with `line` empty, at
// the end of the file.
bool TakeLine(TextReader& reader, Line& line) {
  line.length = 0;
  if (reader.rest.empty()) return false;
  while (!reader.rest.empty()) {
    const char16_t c = TakeCharacter(reader);
    if (reader.error != nullptr) return false;
    if (c == u'\n') return true;
    if (c == u'\r') {
      TextReader ahead = reader;
      if (!ahead.rest.empty() && TakeCharacter(ahead) == u'\n') reader = ahead;
      return true;
    }
    if (line.length == line.characters.size()) {
      Refuse(reader, u"expected a line of at most 1023 characters");
      return false;
    }
    line.characters[line.length++] = c;
  }
  return true;
}

bool IsBlank(char16_t c) { return c == u' ' || c == u'\t'; }

std::u16string_view Trim(std::u16string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// Cuts a comment off, which begins with # at the start or after a blank.
std::u16string_view WithoutComment(std::u16string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'#' && (i == 0 || IsBlank(text[i - 1]))) return PartBefore(text, i);
  }
  return text;
}

// What stands between the quotation marks; null, with the reason in `error`,
// when they do not enclose the whole value.
bool Unquote(std::u16string_view text, std::u16string_view* value, ErrorText& error) {
  const std::size_t end = text.find(u'"', 1);
  if (end == text.npos) {
    FormatText(error, "expected a closing quotation mark");
    return false;
  }
  if (!Trim(WithoutComment(PartFrom(text, end + 1))).empty()) {
    FormatText(error, "expected nothing but a comment after the closing quotation mark");
    return false;
  }
  *value = PartFrom(PartBefore(text, end), 1);
  return true;
}

bool ReadValue(std::u16string_view text, std::u16string_view* value, ErrorText& error) {
  text = Trim(text);
  if (text.starts_with(u'"')) return Unquote(text, value, error);
  *value = Trim(WithoutComment(text));
  if (!value->empty()) return true;
  FormatText(error, "expected a value; an empty one is written \"\"");
  return false;
}

bool ReadLine(std::u16string_view text, Origin origin, ParameterStore& store, ErrorText& error) {
  text = Trim(text);
  if (text.empty() || text.front() == u'#') return true;
  const std::size_t sign = text.find(u'=');
  if (sign == text.npos) {
    FormatText(error, "expected NAME = VALUE");
    return false;
  }
  std::u16string_view value;
  if (!ReadValue(PartFrom(text, sign + 1), &value, error)) return false;
  return Define(store, Trim(PartBefore(text, sign)), value, origin, error);
}

}  // namespace

bool ReadParameterFile(std::span<const std::uint8_t> content, std::uint16_t source, ParameterStore& store,
                       std::uint32_t* line_number, ErrorText& error) {
  TextReader reader = Open(content);
  Line line;
  for (*line_number = 1; TakeLine(reader, line); ++*line_number) {
    if (!ReadLine(line.Text(), {source, *line_number}, store, error)) return false;
  }
  if (reader.error == nullptr) return true;
  FormatText(error, "%s", reader.error);
  return false;
}

}  // namespace testlib
