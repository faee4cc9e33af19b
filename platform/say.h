// SPDX-License-Identifier: BSD-2-Clause-Patent
// What our drivers and applications tell the operator.
#pragma once

#include <array>

#include "platform/console.h"
#include "platform/format.h"

namespace platform {

// Formats a text of at most 1023 characters and writes it.
template <class... Args>
void Say(Colour colour, Format<Args...> format, const Args&... arguments) {
  std::array<char16_t, 1024> text;
  FormatText(text, format, arguments...);
  Write(text.data(), colour);
}

}  // namespace platform
