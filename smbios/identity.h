// SPDX-License-Identifier: BSD-2-Clause-Patent
// Tests 1 to 13: the identity that manufacturing programmed into SMBIOS
// against the values that the line expects.
#pragma once

#include <cstdint>

namespace mfgtest {

// Each shows the identity of the first structure of its type and compares the
// field of that index: manufacturer, product, version, serial number (types 1
// and 2); manufacturer, type, version, serial number, asset tag (type 3). An
// index beyond them only shows. The outcome goes to the test library.
void VerifySystemString(std::uint32_t index);
void VerifyBoardString(std::uint32_t index);
void VerifyChassisString(std::uint32_t index);

}  // namespace mfgtest
