// SPDX-License-Identifier: BSD-2-Clause-Patent
// Tests 34 and 38: the board's FRU holds a manufacturing date no earlier than
// the one that the line expects.
#pragma once

#include <cstdint>

#include "report/mode.h"

namespace mfgtest {

// Test 34: FRU device 0 of the controller against `MFG_DATE`. As a probe it
// gives whether the FRU answers.
bool VerifyMfgDate(Mode mode);

// Test 38: the FRU device that the parameters choose against `SYS_BD_MFG_DATE`.
bool VerifySysBoardMfgDate(Mode mode);

// Minutes since 1996-01-01 00:00, the date's unit in a FRU's board area. Years
// from 1996 on; every fourth is a leap year.
std::uint32_t DateToFruMinutes(std::uint32_t year, std::uint32_t month, std::uint32_t day);

// Days before a month, less the day of a leap year that the year's own count
// holds already.
std::int32_t DaysBeforeMonth(std::uint32_t month, bool is_leap_year);

}  // namespace mfgtest
