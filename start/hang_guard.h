// SPDX-License-Identifier: BSD-2-Clause-Patent
// What is left of a test that hangs: the watchdog resets the machine, and a file
// on the volume tells the next boot which test it was, so that a line that hangs
// does not start again for ever.
#pragma once

#include "start/images.h"

namespace start {

inline constexpr const char16_t* kRunningFile = u"running.txt";

// What the file holds: the number and title of a test.
using RunningTest = std::array<char16_t, 64>;

// Whether a test was left running.
bool FindRunningTest(EFI_HANDLE self, const Path& folder, RunningTest& test);

EFI_STATUS WriteRunningTest(EFI_HANDLE self, const Path& folder, std::uint32_t number, const char16_t* title);
EFI_STATUS ForgetRunningTest(EFI_HANDLE self, const Path& folder);

}  // namespace start
