// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/clock.h"

#include <algorithm>

#include "platform/efi.h"

namespace platform {
namespace {

constinit std::uint64_t ticks_per_hundredth = 0;

constexpr std::uint64_t kMicrosecondsPerHundredth = 10'000;

// Some firmware computes a wait in 32 bits of nanoseconds.
constexpr std::uint64_t kLongestStall = 1'000'000;

}  // namespace

void CalibrateClock() {
  const std::uint64_t start = __builtin_ia32_rdtsc();
  Wait(kMicrosecondsPerHundredth);
  ticks_per_hundredth = __builtin_ia32_rdtsc() - start;
}

std::uint64_t Hundredths() { return ticks_per_hundredth == 0 ? 0 : __builtin_ia32_rdtsc() / ticks_per_hundredth; }

void Wait(std::uint64_t microseconds) {
  while (microseconds > 0) {
    const std::uint64_t part = std::min(microseconds, kLongestStall);
    BS->Stall(part);
    microseconds -= part;
  }
}

}  // namespace platform
