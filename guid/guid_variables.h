// Tests 29 to 33: GUIDs between the firmware and the places where the factory's
// other tools read them.
#pragma once

namespace mfgtest {

// Test 29: the SMBIOS system GUID into a shell variable.
void CopyGuidToEnvironment();

// Test 30: the GUID's bytes in flash, shown.
bool DumpFlashGuid();

// Test 31: a new system GUID into the NV variable `MfgSystemUuid`.
bool WriteMfgSystemUuid(bool probe);

// Test 32: the EUI-64 of a shell variable into the NV variable `Mfg1394Uuid`.
bool WriteMfg1394Uuid(bool probe);

// Test 33: the EUI-64 in a 1394 controller's registers (1394 OHCI, GUID_Hi and
// GUID_Lo) is the one in the shell variable.
bool Verify1394Uuid(bool probe);

}  // namespace mfgtest
