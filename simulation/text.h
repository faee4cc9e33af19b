// SPDX-License-Identifier: BSD-2-Clause-Patent
// Text of the firmware (UCS-2) and of the host (8 bits).
#pragma once

#include <string>
#include <string_view>

#include "platform/efi.h"

namespace simulation {

// Widens bytes one by one.
std::u16string Widen(std::string_view text);

// Printable text as it stands, everything else escaped as \uXXXX.
std::string Readable(std::u16string_view text);

std::string Readable(const EFI_GUID& guid);

}  // namespace simulation
