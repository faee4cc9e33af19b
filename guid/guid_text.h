// SPDX-License-Identifier: BSD-2-Clause-Patent
// A GUID in its three shapes: text, raw bytes in RFC 4122 network order as
// SMBIOS and flash hold them, and the little-endian EFI_GUID.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "platform/efi.h"

namespace mfgtest {

inline constexpr std::size_t kGuidBytes = 16;
using RawGuid = std::array<std::uint8_t, kGuidBytes>;
using GuidText = std::array<char16_t, 128>;

// Parses 36 characters, eight, four, four, four and twelve digits apart by one
// character each. A group ends silently at the first character that is no
// digit. Returns false, with `guid` as it was and the reason in the last-error
// text, for any other length.
[[nodiscard]] bool StrToGuid(const char16_t* text, EFI_GUID* guid);

// In place.
void SwapBytes16(std::uint16_t* value);
void SwapBytes32(std::uint32_t* value);
// Exchanges the 32-bit halves and leaves the bytes in each as they are.
void SwapHalves64(std::uint64_t* value);

// Turns raw bytes into an EFI_GUID's, or an EFI_GUID's back.
void RawToEfiOrder(std::span<std::uint8_t, kGuidBytes> bytes);

// The bytes read as an EFI_GUID.
EFI_GUID AsEfiGuid(std::span<const std::uint8_t, kGuidBytes> bytes);

// The bytes in stored order, in braces and with hyphens.
GuidText RawGuidText(std::span<const std::uint8_t, kGuidBytes> bytes);

}  // namespace mfgtest
