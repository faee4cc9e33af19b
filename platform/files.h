// SPDX-License-Identifier: BSD-2-Clause-Patent
// Small files, read whole.
#pragma once

#include <span>

#include "platform/efi.h"

namespace platform {

// Each reads a file into `buffer` and gives its size. EFI_BUFFER_TOO_SMALL for
// a file that does not fit, EFI_UNSUPPORTED for a folder, EFI_NOT_FOUND where
// there is none on a volume that answers, or the image came from no volume.
// EFI_NO_MEDIA when the volume is gone.

// As the shell finds the path (mappings, the current directory); without a
// modern shell, on the image's volume from its root.
EFI_STATUS ReadFile(EFI_HANDLE image, const char16_t* path, std::span<std::uint8_t> buffer, std::size_t* size);

// A file in the folder from which the image was loaded.
EFI_STATUS ReadFileBeside(EFI_HANDLE image, const char16_t* name, std::span<std::uint8_t> buffer, std::size_t* size);

// The folder from which the image was loaded, from the root of its volume, with
// a backslash at its end. EFI_NOT_FOUND for an image that came from none.
EFI_STATUS FolderOf(EFI_HANDLE image, std::span<char16_t> folder);

// Each works on the volume from which the image was loaded, with a path from
// its root. Writing makes the file when there is none, and leaves what a longer
// one held behind.
EFI_STATUS ReadFileOnVolume(EFI_HANDLE image, const char16_t* path, std::span<std::uint8_t> buffer, std::size_t* size);
EFI_STATUS WriteFileOnVolume(EFI_HANDLE image, const char16_t* path, std::span<const std::uint8_t> content);
EFI_STATUS MakeFolderOnVolume(EFI_HANDLE image, const char16_t* path);
EFI_STATUS DeleteFileOnVolume(EFI_HANDLE image, const char16_t* path);

// The same on any drive, by a path as the shell finds it; without a modern shell,
// on the image's volume.
EFI_STATUS WriteFile(EFI_HANDLE image, const char16_t* path, std::span<const std::uint8_t> content);
EFI_STATUS MakeFolder(EFI_HANDLE image, const char16_t* path);

}  // namespace platform
