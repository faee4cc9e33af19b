// SPDX-License-Identifier: BSD-2-Clause-Patent
// UEFI status codes in words, for messages.
#pragma once

#include <array>

#include "platform/efi.h"

namespace platform {

// The name of a UEFI status code, as gnu-efi's library gives it; 8 hexadecimal
// digits for a code without a name.
struct StatusText {
  explicit StatusText(EFI_STATUS status) { StatusToString(AsFirmwareText(buffer.data()), status); }
  const char16_t* Text() const { return buffer.data(); }

  std::array<char16_t, 64> buffer{};
};

}  // namespace platform

// What gnu-efi's StatusToString calls for a code without a name. Images are
// linked with this in place of the library's whole formatter, whose only use it
// would be. `out` is the text of a StatusText; the argument is the code.
extern "C" UINTN FormatUnnamedStatus(CHAR16* out, UINTN size, const CHAR16* format, ...);
