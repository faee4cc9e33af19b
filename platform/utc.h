// SPDX-License-Identifier: BSD-2-Clause-Patent
// Dates and times in UTC.
#pragma once

#include <cstdint>

namespace platform {

struct UtcTime {
  std::uint16_t year;
  std::uint8_t month;
  std::uint8_t day;
  std::uint8_t hour;
  std::uint8_t minute;
  std::uint8_t second;
};

// Before the first second that a clock can show which somebody has set.
inline constexpr UtcTime kUnsetTime = {1970, 1, 1, 0, 0, 0};

// The firmware's clock, its time zone taken into account. Gives false, with
// kUnsetTime, when it cannot be read, holds no date, or was never set: a clock
// without a battery starts at the year 2000 or earlier.
bool ReadUtcTime(UtcTime* time);

}  // namespace platform
