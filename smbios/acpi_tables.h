// SPDX-License-Identifier: BSD-2-Clause-Patent
// The one thing that a test asks of ACPI: which firmware build its tables name.
#pragma once

#include <array>

namespace mfgtest {

using OemTableIdText = std::array<char16_t, 20>;

// The OEM Table ID of the RSDT, unfiltered: 1 when found; 0, with a message on
// the console, when not.
[[nodiscard]] int FindAcpiOemTableId(OemTableIdText* text);

}  // namespace mfgtest
