// SPDX-License-Identifier: BSD-2-Clause-Patent
// The tables of boot and runtime services of the current machine. What is not
// provided refuses loudly.
#pragma once

#include "platform/efi.h"
#include "simulation/fault.h"

namespace simulation {

// Thrown by the service Exit, which does not return to the image.
struct ImageExit {
  EFI_HANDLE image;
  EFI_STATUS status;
};

void FillBootServices(EFI_BOOT_SERVICES& table);
void FillRuntimeServices(EFI_RUNTIME_SERVICES& table);

}  // namespace simulation
