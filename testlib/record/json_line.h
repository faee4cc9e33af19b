// SPDX-License-Identifier: BSD-2-Clause-Patent
// A JSON object on one line, written without a heap. Text is valid UTF-8 with
// every control character escaped, whatever the machine's tables hold.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace testlib {

// What does not fit is left out, and `is_cut` tells: the line is none then.
struct JsonLine {
  static constexpr std::size_t kBytes = 48 * 1024;
  static constexpr std::size_t kReserve = 64;  // for what closes
  std::array<char, kBytes> bytes;
  std::size_t length;
  bool is_cut;
  bool needs_comma;

  std::string_view Text() const { return {bytes.data(), length}; }
};

void Clear(JsonLine& line);

// Objects and arrays. A null key stands for an element of an array, and for the
// line itself.
void OpenObject(JsonLine& line, const char* key);
void CloseObject(JsonLine& line);
void OpenArray(JsonLine& line, const char* key);
void CloseArray(JsonLine& line);

void AddText(JsonLine& line, const char* key, std::u16string_view text);
void AddAscii(JsonLine& line, const char* key, std::string_view text);
void AddNumber(JsonLine& line, const char* key, std::uint64_t number);
void AddSigned(JsonLine& line, const char* key, std::int64_t number);

// A member whose name is text. False when it does not fit and is left out.
bool AddNamedText(JsonLine& line, std::u16string_view name, std::u16string_view text);

}  // namespace testlib
