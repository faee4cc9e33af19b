// SPDX-License-Identifier: BSD-2-Clause-Patent
// Test 39: a FRU's identity strings, judged.
#pragma once

#include "report/mode.h"

namespace mfgtest {

// Test 39: the identity strings of one FRU device, chosen by parameters,
// against the expected ones. As a probe it publishes them instead, so that the
// station learns them, and gives whether they could be read.
bool VerifyFruBoardStrings(Mode mode);

}  // namespace mfgtest
