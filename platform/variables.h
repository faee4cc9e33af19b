// SPDX-License-Identifier: BSD-2-Clause-Patent
// UEFI variables (runtime services).
#pragma once

#include <array>
#include <span>

#include "platform/memory.h"

namespace platform {

// Where a walk over all variables stands. Starts with an empty name and the
// all-zero vendor GUID.
struct VariableCursor {
  // Room for the bytes that are offered to the firmware, and one terminator
  // more than it was told of.
  static constexpr std::size_t kNameBytes = 256;
  std::array<char16_t, kNameBytes / sizeof(char16_t) + 1> name{};
  EFI_GUID vendor{};
};

// Steps to the next variable. Fails at the end, and on a name of more than
// VariableCursor::kNameBytes bytes, its terminator included.
bool NextVariable(VariableCursor& cursor);

// Reads a variable's data into `data`; `size` is what was read. Fails with
// EFI_BUFFER_TOO_SMALL when there is more of it.
[[nodiscard]] EFI_STATUS ReadVariableInto(const char16_t* name, const EFI_GUID& vendor, std::span<std::uint8_t> data,
                                          std::size_t* size);

[[nodiscard]] EFI_STATUS WriteVariable(const char16_t* name, const EFI_GUID& vendor, std::uint32_t attributes,
                                       std::span<const std::uint8_t> data);

// A copy of a variable's data; empty when it cannot be read.
PoolBuffer ReadVariable(const char16_t* name, const EFI_GUID& vendor);

}  // namespace platform
