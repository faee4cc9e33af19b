// Images: the running one, its start and its early end; and others that it
// loads.
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

// Loads the file at a path from the root of the volume from which `parent`
// came. On failure nothing stays loaded, also where the firmware loads what it
// may not start (EFI_SECURITY_VIOLATION).
EFI_STATUS LoadImageFile(EFI_HANDLE parent, const char16_t* path, EFI_HANDLE* image);

// Runs a loaded image and gives what it ended with. What is not resident then
// is unloaded: applications, and drivers that ended with an error.
EFI_STATUS StartLoadedImage(EFI_HANDLE image);

// Unloads an image unless it has gone already; one that refuses stays.
EFI_STATUS UnloadImage(EFI_HANDLE image);

}  // namespace platform
