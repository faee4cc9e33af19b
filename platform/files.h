// Small files, read whole.
#pragma once

#include <span>

#include "platform/efi.h"

namespace platform {

// Each reads a file into `buffer` and gives its size. EFI_BUFFER_TOO_SMALL for
// a file that does not fit, EFI_NOT_FOUND where there is none or no volume that
// could hold it, and EFI_UNSUPPORTED for a folder.

// As the shell finds the path (mappings, the current directory); without a
// modern shell, on the image's volume from its root.
EFI_STATUS ReadFile(EFI_HANDLE image, const char16_t* path, std::span<std::uint8_t> buffer, std::size_t* size);

// A file in the folder from which the image was loaded.
EFI_STATUS ReadFileBeside(EFI_HANDLE image, const char16_t* name, std::span<std::uint8_t> buffer, std::size_t* size);

// The folder from which the image was loaded, from the root of its volume, with
// a backslash at its end. False for an image that came from none.
bool FolderOf(EFI_HANDLE image, std::span<char16_t> folder);

}  // namespace platform
