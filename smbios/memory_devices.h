#pragma once

namespace mfgtest {

// Test 36: every memory device that SMBIOS reports has the locators, size and
// speed that the line expects of its slot. Gives false on the first failure,
// after reporting it. With `publish` nothing is checked; each device is
// published instead, and false means that a device structure is missing.
bool VerifyMemoryDevices(bool publish);

}  // namespace mfgtest
