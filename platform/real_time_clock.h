#pragma once

#include "platform/efi.h"

namespace platform {

// The platform's date and time; all zero when the clock cannot be read.
inline EFI_TIME ReadRealTimeClock() {
  EFI_TIME time{};
  if (EFI_ERROR(RT->GetTime(&time, nullptr))) return {};
  return time;
}

}  // namespace platform
