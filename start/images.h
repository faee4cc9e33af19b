// SPDX-License-Identifier: BSD-2-Clause-Patent
// The images beside start.efi, and the folder in which they lie.
#pragma once

#include <array>

#include "platform/efi.h"

namespace start {

using Path = std::array<char16_t, 512>;

// The images' folder on the volume of `image`, with a backslash at its end: the
// root for the file that a firmware boots by itself, else the image's own. False
// for an image that came from no volume.
bool FindFolder(EFI_HANDLE image, Path& folder);

Path PathIn(const Path& folder, const char16_t* name);

// Why an image is not loaded or started, as the end of a sentence about it.
using Reason = std::array<char16_t, 160>;
Reason ReasonOf(EFI_STATUS status);

bool IsSecureBootOn();

// Loads and starts a resident driver. One that is missing or refused is told in
// one line, by the driver itself where it could speak. Null without it.
EFI_HANDLE LoadDriver(EFI_HANDLE self, const Path& folder, const char16_t* name, const char16_t* options);

}  // namespace start
