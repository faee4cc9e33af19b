// SPDX-License-Identifier: BSD-2-Clause-Patent
// Time: waiting, and how long something took.
#pragma once

#include <cstdint>

namespace platform {

// Measures the processor's time stamp counter against the firmware's own wait,
// once; takes a hundredth of a second.
void CalibrateClock();

// Hundredths of a second on a counter that runs since power-on. Stays 0 until
// the clock was calibrated.
std::uint64_t Hundredths();

void Wait(std::uint64_t microseconds);

}  // namespace platform
