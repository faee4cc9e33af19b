#pragma once

#include <array>

#include "platform/efi.h"

namespace platform {

// The name of a UEFI status code, as gnu-efi's library gives it.
struct StatusText {
  explicit StatusText(EFI_STATUS status) { StatusToString(AsFirmwareText(buffer.data()), status); }
  const char16_t* Text() const { return buffer.data(); }

  std::array<char16_t, 64> buffer{};
};

}  // namespace platform
