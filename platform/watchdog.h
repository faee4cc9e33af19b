// SPDX-License-Identifier: BSD-2-Clause-Patent
// The firmware's watchdog, which resets the machine unless it is told of
// progress in time.
#pragma once

#include "platform/efi.h"

namespace platform {

// From now on there are so many seconds; 0 for no limit. Firmware without a
// watchdog has nothing to say that would help anybody.
inline void SetWatchdog(std::uint32_t seconds) { BS->SetWatchdogTimer(seconds, 0, 0, nullptr); }

}  // namespace platform
