// SPDX-License-Identifier: BSD-2-Clause-Patent
// The screens of the machine, apart from its console: that one mostly writes to
// serial ports as well, and what a rig reads there stays plain text.
#pragma once

#include <cstddef>

#include "platform/console.h"

namespace platform {

// Looks for them and tells how many there are; 0 where the firmware has only
// the console, or a screen that is the console. Until then there are none.
std::size_t FindScreens();

void ClearScreens();

// Writes a row of every screen, counted from 0. No text may be longer than a
// row, which has 80 columns or more; there are 25 rows or more.
void PutRow(std::size_t row, const char16_t* text, Colour colour);

// A line on every screen, below what the console wrote last. It goes as soon as
// the console writes on.
void ShowStatusLine(const char16_t* text);
void HideStatusLine();

}  // namespace platform
