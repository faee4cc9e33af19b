// SPDX-License-Identifier: BSD-2-Clause-Patent
// Test 0: what the line run starts with.
#pragma once

namespace mfgtest {

// Test 0: reads the machine's identity, publishes what it finds and tells the
// test library which tests cannot apply to this machine. Reports no failure of
// its own.
void Autosense();

}  // namespace mfgtest
