// SPDX-License-Identifier: BSD-2-Clause-Patent
// Tests 29 to 31: GUIDs between the firmware and the places where the factory's
// other tools read them.
#pragma once

#include "report/mode.h"

namespace mfgtest {

// Test 29: the SMBIOS system GUID into a shell variable.
void CopyGuidToEnvironment();

// Test 30: the GUID's bytes in flash, shown.
bool DumpFlashGuid();

// Test 31: a new system GUID into the NV variable `MfgSystemUuid`.
bool WriteMfgSystemUuid(Mode mode);

}  // namespace mfgtest
