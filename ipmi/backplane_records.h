// SPDX-License-Identifier: BSD-2-Clause-Patent
// Test 42: what the backplanes' FRUs hold, shown.
#pragma once

namespace mfgtest {

// Test 42: reads, shows and publishes the board records of the SAS backplanes
// (FRU devices 5, 6 and 7), which answer slowly and are pinged first. Returns
// false when a backplane does not answer or its reads fail.
bool ReadBackplaneFruRecords();

}  // namespace mfgtest
