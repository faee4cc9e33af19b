// SPDX-License-Identifier: BSD-2-Clause-Patent
// Test 28: a system GUID into the platform.
#pragma once

namespace mfgtest {

// Test 28: programs the platform's system GUID, the one that the parameters
// give or a new one, through the manufacturing interface where the firmware has
// it, else into the flash block. Returns false on failure, and also after a
// successful write through the manufacturing interface.
bool WriteGuid();

}  // namespace mfgtest
