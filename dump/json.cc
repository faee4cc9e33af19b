// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "dump/json.h"

#include <array>

namespace dump {
namespace {

void Put(Json& json, char c) {
  if (json.length == json.room.size()) {
    json.is_cut = true;
  } else {
    json.room[json.length++] = c;
  }
}

// What stands in front of every element.
void Begin(Json& json, const char* key) {
  if (json.needs_comma) Put(json, ',');
  if (json.depth > 0) Put(json, '\n');
  for (unsigned i = 0; i < json.depth; ++i) PutAscii(json, "  ");
  json.needs_comma = true;
  if (key == nullptr) return;
  Put(json, '"');
  PutAscii(json, key);
  PutAscii(json, "\": ");
}

void Open(Json& json, const char* key, char bracket) {
  Begin(json, key);
  Put(json, bracket);
  ++json.depth;
  json.needs_comma = false;
}

void Close(Json& json, char bracket) {
  --json.depth;
  if (json.needs_comma) {
    Put(json, '\n');
    for (unsigned i = 0; i < json.depth; ++i) PutAscii(json, "  ");
  }
  Put(json, bracket);
  if (json.depth == 0) Put(json, '\n');
  json.needs_comma = true;
}

// Plain ASCII; everything else is escaped, so half a surrogate does no harm.
void PutCharacter(Json& json, char16_t c) {
  if (c >= 0x20 && c < 0x7F) {
    if (c == u'"' || c == u'\\') Put(json, '\\');
    return Put(json, static_cast<char>(c));
  }
  PutAscii(json, "\\u");
  PutHexadecimal(json, c, 4);
}

}  // namespace

void OpenObject(Json& json, const char* key) { Open(json, key, '{'); }
void CloseObject(Json& json) { Close(json, '}'); }
void OpenList(Json& json, const char* key) { Open(json, key, '['); }
void CloseList(Json& json) { Close(json, ']'); }

void AddText(Json& json, const char* key, std::u16string_view text) {
  Begin(json, key);
  Put(json, '"');
  for (const char16_t c : text) PutCharacter(json, c);
  Put(json, '"');
}

void AddAscii(Json& json, const char* key, std::string_view text) {
  Begin(json, key);
  Put(json, '"');
  for (const char c : text) PutCharacter(json, static_cast<unsigned char>(c));
  Put(json, '"');
}

void AddNumber(Json& json, const char* key, std::uint64_t number) {
  Begin(json, key);
  std::array<char, 20> digits;
  std::size_t count = 0;
  do digits[count++] = static_cast<char>('0' + number % 10);
  while ((number /= 10) != 0);
  while (count > 0) Put(json, digits[--count]);
}

void AddAddress(Json& json, const char* key, std::uint64_t address) {
  Begin(json, key);
  PutAscii(json, "\"0x");
  PutHexadecimal(json, address, 1);
  Put(json, '"');
}

void AddBytes(Json& json, const char* key, std::span<const std::uint8_t> bytes) {
  Begin(json, key);
  Put(json, '"');
  for (const std::uint8_t byte : bytes) PutHexadecimal(json, byte, 2);
  Put(json, '"');
}

void PutAscii(Json& text, std::string_view ascii) {
  for (const char c : ascii) Put(text, c);
}

void PutHexadecimal(Json& text, std::uint64_t number, unsigned least_digits) {
  for (unsigned digit = 16; digit > 0; --digit) {
    const std::uint64_t rest = number >> (4 * (digit - 1));
    if (rest != 0 || digit <= least_digits) Put(text, "0123456789abcdef"[rest & 0xF]);
  }
}

}  // namespace dump
