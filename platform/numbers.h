// SPDX-License-Identifier: BSD-2-Clause-Patent
// Text to number, as gnu-efi's library converts it: leading blanks are skipped
// and the first character that is no digit ends the number.
#pragma once

#include "platform/efi.h"

namespace platform {

inline std::uint64_t DecimalNumber(const char16_t* text) { return Atoi(AsFirmwareText(text)); }
inline std::uint64_t HexadecimalNumber(const char16_t* text) { return xtoi(AsFirmwareText(text)); }

}  // namespace platform
