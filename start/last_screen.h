// What stands at the end of a line: its verdict in letters that can be read
// across a room, the unit, the time, every failure and what to do about it.
#pragma once

#include "platform/protocols/line_run.h"

namespace start {

// Writes it as plain text to the console, the summary last, and draws it on the
// screens, where it fits 80 columns and 25 rows.
void ShowLastScreen(const LineReport& report, const char16_t* note, std::uint64_t hundredths);

}  // namespace start
