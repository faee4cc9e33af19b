// SPDX-License-Identifier: BSD-2-Clause-Patent
#pragma once

#include "platform/efi.h"

namespace platform {

// Neither returns on working firmware.
inline void PowerOff() { RT->ResetSystem(EfiResetShutdown, EFI_SUCCESS, 0, nullptr); }
inline void Restart() { RT->ResetSystem(EfiResetCold, EFI_SUCCESS, 0, nullptr); }

}  // namespace platform
