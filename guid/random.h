// The small seeded generator of a new GUID's clock sequence.
#pragma once

#include "platform/efi.h"

namespace mfgtest {

// Seeds the generator from the parameter `RandomSeed`, else from the clock; fails
// when that cannot be read.
EFI_STATUS RandomSeed();

void SetSeed(std::uint32_t value);
std::uint32_t Random32();

}  // namespace mfgtest
