// SPDX-License-Identifier: BSD-2-Clause-Patent
// The platform's date and time.
#pragma once

#include "platform/efi.h"

namespace platform {

[[nodiscard]] inline EFI_STATUS ReadRealTimeClock(EFI_TIME* time) { return RT->GetTime(time, nullptr); }

}  // namespace platform
