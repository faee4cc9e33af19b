// SPDX-License-Identifier: BSD-2-Clause-Patent
// Memory of the machine that its dump does not hold.
#pragma once

#include <cstdint>
#include <span>

namespace replay {

// From now on memory below 4 GiB that is not there reads as erased, 0xFF; a
// write to what the run may only read ends the program with status 2.
void ServeUnknownMemory();

// The first pages that were read so.
std::span<const std::uint64_t> UnknownPages();

}  // namespace replay
