// SPDX-License-Identifier: BSD-2-Clause-Patent
// Test 43: the ends of a FRU's areas, judged.
#pragma once

#include "report/mode.h"

namespace mfgtest {

// Test 43: the chassis, board and product areas of the controller's FRU device
// 0 each end with the end-of-fields marker.
bool VerifyFruEndMarkers(Mode mode);

}  // namespace mfgtest
