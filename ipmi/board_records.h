// SPDX-License-Identifier: BSD-2-Clause-Patent
// Test 41: what the controller's FRUs hold, shown.
#pragma once

namespace mfgtest {

// Test 41: shows and publishes the identity of the controller's FRU devices 1
// to 16, the SAS backplanes left out. One read a field, nothing is judged;
// always true.
bool ReadFruBoardRecords();

}  // namespace mfgtest
