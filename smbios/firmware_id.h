// Tests 35 and 40: which firmware build is flashed.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "platform/efi.h"
#include "smbios/entry_point.h"

namespace mfgtest {

using BiosIdText = std::array<char16_t, 100>;
using OemTableIdText = std::array<char16_t, 20>;

// Test 40: the last OEM string (SMBIOS type 11) is `OEM_BIOS_String`.
void VerifyOemBiosString();

// Test 35: the BIOS version (SMBIOS type 0) is `BIOS_ID`, and the OEM Table ID
// of the ACPI RSDT `OEM_TABLE_ID`. With `publish` both are published instead.
// Gives whether they were found and, without `publish`, agree.
bool VerifyBiosId(bool publish);

// The version string of the first BIOS structure, unfiltered; EFI_NOT_FOUND,
// with a message, when the table has no such structure.
EFI_STATUS FindBiosId(const SmbiosEntryPoint& entry, BiosIdText* text);

// The OEM Table ID of the RSDT, unfiltered: 1 when found; 0, with a message on
// the console, when not.
int FindAcpiOemTableId(OemTableIdText* text);

// The 8-bit sum of the bytes; a valid ACPI table's is 0.
std::uint8_t AcpiChecksum(std::span<const std::uint8_t> bytes);

// Removes all but full stops, digits and ASCII letters.
void FilterIdText(char16_t* text);

}  // namespace mfgtest
