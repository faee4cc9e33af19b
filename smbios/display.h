// SPDX-License-Identifier: BSD-2-Clause-Patent
// Tests 20 to 25: what the SMBIOS table holds, shown to the operator. Nothing
// is compared; a test fails only when its data cannot be found.
#pragma once

namespace mfgtest {

void DisplaySmbiosEntryPoint();      // test 20: field by field
void DisplaySystemInformation();     // test 21: type 1, with its UUID
void BrowseSmbiosStructures();       // test 22: header by header, at the operator's pace
void DisplayBaseBoardInformation();  // test 23: type 2
void DisplayBiosInformation();       // test 24: type 0
void DisplayChassisInformation();    // test 25: type 3

}  // namespace mfgtest
