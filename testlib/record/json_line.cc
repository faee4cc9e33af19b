// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/record/json_line.h"

#include <algorithm>
#include <charconv>

namespace testlib {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char16_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool IsLowSurrogate(char16_t c) { return c >= 0xDC00 && c <= 0xDFFF; }
bool IsControl(char32_t c) { return c < 0x20 || (c >= 0x7F && c <= 0x9F); }

void Put(JsonLine& line, std::string_view text) {
  if (line.is_cut || text.size() > line.bytes.size() - JsonLine::kReserve - line.length) {
    line.is_cut = true;
    return;
  }
  line.length =
      static_cast<std::size_t>(std::ranges::copy(text, line.bytes.begin() + line.length).out - line.bytes.begin());
}

void PutClosing(JsonLine& line, char c) {
  if (line.length < line.bytes.size()) line.bytes[line.length++] = c;
  line.needs_comma = true;
}

// The first code point of the text, which is taken off it. Half of a surrogate
// pair is no character.
char32_t TakeCharacter(std::u16string_view& text) {
  const char16_t first = text.front();
  text.remove_prefix(1);
  if (IsLowSurrogate(first)) return kReplacement;
  if (!IsHighSurrogate(first)) return first;
  if (text.empty() || !IsLowSurrogate(text.front())) return kReplacement;
  const char16_t second = text.front();
  text.remove_prefix(1);
  return 0x10000 + ((first & 0x3FFu) << 10) + (second & 0x3FFu);
}

void PutUtf8(JsonLine& line, char32_t c) {
  const auto byte = [](char32_t value) { return static_cast<char>(value); };
  const auto following = [&](unsigned shift) { return byte(0x80 | ((c >> shift) & 0x3F)); };
  if (c < 0x80) {
    const char bytes[] = {byte(c)};
    Put(line, {bytes, sizeof bytes});
  } else if (c < 0x800) {
    const char bytes[] = {byte(0xC0 | c >> 6), following(0)};
    Put(line, {bytes, sizeof bytes});
  } else if (c < 0x10000) {
    const char bytes[] = {byte(0xE0 | c >> 12), following(6), following(0)};
    Put(line, {bytes, sizeof bytes});
  } else {
    const char bytes[] = {byte(0xF0 | c >> 18), following(12), following(6), following(0)};
    Put(line, {bytes, sizeof bytes});
  }
}

void PutEscaped(JsonLine& line, char32_t c) {
  constexpr char kDigits[] = "0123456789abcdef";
  if (c == U'"' || c == U'\\') {
    const char bytes[] = {'\\', static_cast<char>(c)};
    Put(line, {bytes, sizeof bytes});
  } else if (IsControl(c)) {
    const char bytes[] = {'\\', 'u', '0', '0', kDigits[c >> 4], kDigits[c & 0xF]};
    Put(line, {bytes, sizeof bytes});
  } else {
    PutUtf8(line, c);
  }
}

void PutString(JsonLine& line, std::u16string_view text) {
  Put(line, "\"");
  while (!text.empty()) PutEscaped(line, TakeCharacter(text));
  Put(line, "\"");
}

void PutComma(JsonLine& line) {
  if (line.needs_comma) Put(line, ",");
  line.needs_comma = true;
}

// The comma and the name in front of a value.
void PutKey(JsonLine& line, const char* key) {
  PutComma(line);
  if (key == nullptr) return;
  Put(line, "\"");
  Put(line, key);
  Put(line, "\":");
}

void OpenWith(JsonLine& line, const char* key, const char* bracket) {
  PutKey(line, key);
  Put(line, bracket);
  line.needs_comma = false;
}

template <class Number>
void PutNumber(JsonLine& line, Number number) {
  std::array<char, 24> digits;
  const auto end = std::to_chars(digits.begin(), digits.end(), number).ptr;
  Put(line, {digits.data(), static_cast<std::size_t>(end - digits.begin())});
}

}  // namespace

void Clear(JsonLine& line) {
  line.length = 0;
  line.is_cut = false;
  line.needs_comma = false;
}

void OpenObject(JsonLine& line, const char* key) { OpenWith(line, key, "{"); }
void CloseObject(JsonLine& line) { PutClosing(line, '}'); }
void OpenArray(JsonLine& line, const char* key) { OpenWith(line, key, "["); }
void CloseArray(JsonLine& line) { PutClosing(line, ']'); }

void AddText(JsonLine& line, const char* key, std::u16string_view text) {
  PutKey(line, key);
  PutString(line, text);
}

void AddAscii(JsonLine& line, const char* key, std::string_view text) {
  PutKey(line, key);
  Put(line, "\"");
  Put(line, text);
  Put(line, "\"");
}

void AddNumber(JsonLine& line, const char* key, std::uint64_t number) {
  PutKey(line, key);
  PutNumber(line, number);
}

void AddSigned(JsonLine& line, const char* key, std::int64_t number) {
  PutKey(line, key);
  PutNumber(line, number);
}

bool AddNamedText(JsonLine& line, std::u16string_view name, std::u16string_view text) {
  const std::size_t length = line.length;
  const bool needed_comma = line.needs_comma;
  const bool was_cut = line.is_cut;
  PutComma(line);
  PutString(line, name);
  Put(line, ":");
  PutString(line, text);
  if (!line.is_cut) return true;
  line.length = length;
  line.needs_comma = needed_comma;
  line.is_cut = was_cut;
  return false;
}

}  // namespace testlib
