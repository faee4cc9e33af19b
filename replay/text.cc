// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "replay/text.h"

#include <cstdio>

namespace replay {
namespace {

constexpr char16_t kReplacement = 0xFFFD;

bool IsContinuation(std::string_view text, std::size_t at) { return at < text.size() && (text[at] & 0xC0) == 0x80; }

}  // namespace

std::u16string FromUtf8(std::string_view text) {
  std::u16string wide;
  for (std::size_t at = 0; at < text.size();) {
    const auto first = static_cast<unsigned char>(text[at]);
    const std::size_t more = first < 0x80 ? 0 : (first & 0xE0) == 0xC0 ? 1 : (first & 0xF0) == 0xE0 ? 2 : 4;
    unsigned character = more == 0 ? first : first & (more == 1 ? 0x1F : 0x0F);
    bool is_whole = more < 4;
    for (std::size_t i = 1; is_whole && i <= more; ++i) {
      is_whole = IsContinuation(text, at + i);
      if (is_whole) character = character << 6 | (text[at + i] & 0x3F);
    }
    wide += is_whole ? static_cast<char16_t>(character) : kReplacement;
    at += is_whole ? more + 1 : 1;
  }
  return wide;
}

std::string ToUtf8(std::u16string_view text) {
  std::string narrow;
  for (const char16_t c : text) {
    if (c < 0x80) {
      narrow += static_cast<char>(c);
    } else if (c < 0x800) {
      narrow += static_cast<char>(0xC0 | c >> 6);
      narrow += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      narrow += static_cast<char>(0xE0 | c >> 12);
      narrow += static_cast<char>(0x80 | (c >> 6 & 0x3F));
      narrow += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return narrow;
}

std::string Hexadecimal(std::uint64_t number) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(number));
  return text;
}

}  // namespace replay
