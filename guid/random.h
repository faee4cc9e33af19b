// The small seeded generator of a new GUID's clock sequence.
#pragma once

#include <cstdint>

namespace mfgtest {

// Seeds the generator from the parameter `RandomSeed`, else from the clock.
void RandomSeed();

void SetSeed(std::uint32_t value);
std::uint32_t Random32();

}  // namespace mfgtest
