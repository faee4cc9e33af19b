// SPDX-License-Identifier: BSD-2-Clause-Patent
// The part of Autosense that reads what manufacturing programmed into SMBIOS.
#pragma once

#include <cstdint>

namespace mfgtest {

// Publishes system, board and chassis identity and the OEM string, says what is
// not programmed and removes the tests on it.
void SenseIdentity();

// Tells the test library that these tests cannot apply to this machine.
void RemoveTests(std::uint32_t first, std::uint32_t last);

}  // namespace mfgtest
