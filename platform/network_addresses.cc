// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/network_addresses.h"

#include <algorithm>

#include "platform/simple_network.h"

namespace platform {

std::size_t ReadMacAddresses(std::span<MacBytes> addresses) {
  HandleList controllers;
  if (EFI_ERROR(LocateNetworkControllers(&controllers))) return 0;
  std::size_t count = 0;
  for (const EFI_HANDLE controller : controllers.handles) {
    NetworkController* network = nullptr;
    if (count == addresses.size() || EFI_ERROR(OpenNetworkController(controller, &network))) continue;
    addresses[count] = StationAddress(*network);
    // Firmware puts the protocol on handles of its own below the controller, too.
    const auto known = addresses.first(count);
    if (std::ranges::find(known, addresses[count]) == known.end()) ++count;
  }
  return count;
}

}  // namespace platform
