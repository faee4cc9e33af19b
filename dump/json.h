// SPDX-License-Identifier: BSD-2-Clause-Patent
// JSON for a person to read, one member a line, written without a heap.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace dump {

// What does not fit is left out, and `is_cut` tells: the text is no JSON then.
struct Json {
  std::span<char> room;
  std::size_t length = 0;
  bool is_cut = false;
  bool needs_comma = false;
  unsigned depth = 0;

  std::span<const std::uint8_t> Bytes() const { return {reinterpret_cast<const std::uint8_t*>(room.data()), length}; }
};

// Objects and lists. A null key stands for an element of a list, and for the
// whole text.
void OpenObject(Json& json, const char* key);
void CloseObject(Json& json);
void OpenList(Json& json, const char* key);
void CloseList(Json& json);

void AddText(Json& json, const char* key, std::u16string_view text);
void AddAscii(Json& json, const char* key, std::string_view text);
void AddNumber(Json& json, const char* key, std::uint64_t number);
// As text, with hexadecimal digits behind 0x.
void AddAddress(Json& json, const char* key, std::uint64_t address);
// As text, two hexadecimal digits each.
void AddBytes(Json& json, const char* key, std::span<const std::uint8_t> bytes);

// Text of files that are no JSON.
void PutAscii(Json& text, std::string_view ascii);
void PutHexadecimal(Json& text, std::uint64_t number, unsigned least_digits);

}  // namespace dump
