#pragma once

#include "guid/guid_text.h"

namespace mfgtest {

// Builds a time-based GUID (RFC 4122, version 1) of the clock, a random clock
// sequence and the platform's MAC address, in raw order. Gives false, with the
// reason in the last-error text, when the clock cannot be read or there is no MAC
// address.
bool BuildGuid(RawGuid* guid);

}  // namespace mfgtest
