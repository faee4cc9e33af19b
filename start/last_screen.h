// SPDX-License-Identifier: BSD-2-Clause-Patent
// What stands at the end of a line: its verdict in letters that can be read
// across a room, the unit, the time, every failure and what to do about it.
#pragma once

#include "platform/protocols/line_run.h"

namespace start {

struct LastScreen {
  const LineReport* report;
  std::uint64_t hundredths;  // of a second that the line took
  const char16_t* note;      // what start.efi has to add; may be empty
  const char16_t* closing;   // what the operator may do now
};

// Writes it as plain text to the console, the summary last, and draws it on the
// screens, where it fits 80 columns and 25 rows.
void ShowLastScreen(const LastScreen& screen);

}  // namespace start
