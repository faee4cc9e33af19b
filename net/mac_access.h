// SPDX-License-Identifier: BSD-2-Clause-Patent
// The platform's MAC addresses: of its network controllers (UEFI Simple Network
// Protocol), and of four global variables that hold one as text.
#pragma once

#include <array>
#include <cstdint>

namespace mfgtest {

// In transmission order.
using MacAddress = std::array<std::uint8_t, 6>;

// The station address of the controller that the parameter `NIC_Index` selects,
// the first one without it. On failure returns false and leaves the reason in
// the last-error text.
[[nodiscard]] bool GetMacAddr(MacAddress* mac);

// The MAC address in the variable that the parameter `NicMacAddress` selects.
[[nodiscard]] bool ReadNicMacVariable(MacAddress* mac);

// Test 27: shows the MAC address of every controller.
bool DisplayAllMac();

}  // namespace mfgtest
