// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/text.h"

#include <array>
#include <cstdio>

#include "platform/format.h"

namespace simulation {

std::u16string Widen(std::string_view text) {
  std::u16string wide;
  for (const char c : text) wide += static_cast<unsigned char>(c);
  return wide;
}

std::string Readable(std::u16string_view text) {
  std::string readable;
  for (const char16_t c : text) {
    if (c >= 0x20 && c <= 0x7E) {
      readable += static_cast<char>(c);
      continue;
    }
    std::array<char, 8> escape{};
    std::snprintf(escape.data(), escape.size(), "\\u%04X", c);
    readable += escape.data();
  }
  return readable;
}

std::string Readable(const EFI_GUID& guid) {
  std::array<char16_t, 40> text{};
  FormatText(text, "%g", &guid);
  return Readable(std::u16string_view(text.data()));
}

}  // namespace simulation
