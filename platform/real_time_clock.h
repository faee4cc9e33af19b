#pragma once

#include "platform/efi.h"

namespace platform {

// The platform's date and time.
inline EFI_STATUS ReadRealTimeClock(EFI_TIME* time) { return RT->GetTime(time, nullptr); }

}  // namespace platform
