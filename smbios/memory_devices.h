// SPDX-License-Identifier: BSD-2-Clause-Patent
// Test 36: the memory modules, judged.
#pragma once

#include "report/mode.h"

namespace mfgtest {

// Test 36: every memory device that SMBIOS reports has the locators, size and
// speed that the line expects of its slot. Returns false on the first failure,
// after reporting it. A probe checks nothing; each device is published
// instead, and false means that a device structure is missing.
bool VerifyMemoryDevices(Mode mode);

}  // namespace mfgtest
