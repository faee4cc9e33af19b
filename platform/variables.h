// UEFI variables (runtime services).
#pragma once

#include <array>

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

// A copy of a variable's data; empty when it cannot be read.
PoolBuffer ReadVariable(const char16_t* name, const EFI_GUID& vendor);

}  // namespace platform
