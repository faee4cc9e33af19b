#pragma once

#include <array>

#include "platform/console.h"
#include "platform/format.h"

namespace smbios_entry {

template <class... Args>
void Say(platform::Colour colour, Format<Args...> format, const Args&... arguments) {
  std::array<char16_t, 512> text;
  FormatText(text, format, arguments...);
  platform::Write(text.data(), colour);
}

}  // namespace smbios_entry
