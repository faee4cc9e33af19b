// SPDX-License-Identifier: BSD-2-Clause-Patent
// Tests 32 and 33: the EUI-64 of an IEEE 1394 controller, which the factory's
// tools leave in a shell variable.
#pragma once

#include "report/mode.h"

namespace mfgtest {

// Test 32: the EUI-64 of the shell variable into the NV variable `Mfg1394Uuid`.
bool WriteMfg1394Uuid(Mode mode);

// Test 33: the EUI-64 in the controller's registers (1394 OHCI, GUID_Hi and
// GUID_Lo) is the one in the shell variable.
bool Verify1394Uuid(Mode mode);

}  // namespace mfgtest
