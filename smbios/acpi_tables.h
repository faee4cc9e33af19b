// The one thing that a test asks of ACPI: which firmware build its tables name.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace mfgtest {

using OemTableIdText = std::array<char16_t, 20>;

// The OEM Table ID of the RSDT, unfiltered: 1 when found; 0, with a message on
// the console, when not.
int FindAcpiOemTableId(OemTableIdText* text);

// The 8-bit sum of the bytes; a valid ACPI table's is 0.
std::uint8_t AcpiChecksum(std::span<const std::uint8_t> bytes);

}  // namespace mfgtest
