// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/status_text.h"

#include <cstdarg>

#include "platform/format.h"

extern "C" UINTN FormatUnnamedStatus(CHAR16* out, UINTN, const CHAR16* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const auto code = static_cast<std::uint32_t>(va_arg(arguments, EFI_STATUS));
  va_end(arguments);
  constexpr std::size_t kCharacters = decltype(platform::StatusText::buffer){}.size();
  return FormatText({reinterpret_cast<char16_t*>(out), kCharacters}, "%X", code);
}
