// The running image: its start and its early end.
#pragma once

#include "platform/efi.h"

namespace platform {

// Gives gnu-efi the image handle and the system table. Everything else of this
// folder works only after it.
void InitializeImage(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

// The handle that InitializeImage was given.
EFI_HANDLE RunningImage();

// Ends the image at once with `status` and no exit data. Does not return on
// working firmware; gives the status for the caller to return otherwise.
EFI_STATUS ExitImage(EFI_HANDLE image, EFI_STATUS status);

// What the firmware knows of an image, or null for a handle that is none or
// whose image has ended.
EFI_LOADED_IMAGE* LoadedImage(EFI_HANDLE image);

}  // namespace platform
