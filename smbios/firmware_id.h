// SPDX-License-Identifier: BSD-2-Clause-Patent
// Tests 35 and 40: which firmware build is flashed.
#pragma once

#include <array>
#include <cstdint>

#include "platform/efi.h"
#include "report/mode.h"
#include "smbios/entry_point.h"

namespace mfgtest {

using BiosIdText = std::array<char16_t, 100>;

// Test 40: the last OEM string (SMBIOS type 11) is `OEM_BIOS_String`.
void VerifyOemBiosString();

// Test 35: the BIOS version (SMBIOS type 0) is `BIOS_ID`, and the OEM Table ID
// of the ACPI RSDT `OEM_TABLE_ID`. A probe publishes both instead.
// Returns whether they were found and, in a test, agree.
bool VerifyBiosId(Mode mode);

// The version string of the first BIOS structure, unfiltered; EFI_NOT_FOUND,
// with a message, when the table has no such structure.
[[nodiscard]] EFI_STATUS FindBiosId(const SmbiosEntryPoint& entry, BiosIdText* text);

// Removes all but full stops, digits and ASCII letters.
void FilterIdText(char16_t* text);

}  // namespace mfgtest
