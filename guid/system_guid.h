// SPDX-License-Identifier: BSD-2-Clause-Patent
// The system GUID that the platform has, judged.
#pragma once

#include <cstdint>

#include "net/mac_access.h"
#include "report/mode.h"

namespace mfgtest {

// Test 14: the platform's system GUID is a version 1 GUID of RFC 4122, made in
// the factory's range of dates, and its node is a MAC address of the platform.
// A probe reports no failure.
bool VerifyGuid(Mode mode);

// Whether the six node bytes are a MAC address that the parameters accept. The
// received address is what they were compared with last; `full_mac` is 1 when
// all of it counted, 0 when its first half did.
bool VerifyTarvoMacAddr(const std::uint8_t* node, MacAddress* received, std::uint8_t* full_mac);

}  // namespace mfgtest
