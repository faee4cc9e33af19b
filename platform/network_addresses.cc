// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/network_addresses.h"

#include <algorithm>

#include "platform/handles.h"

namespace platform {

std::size_t ReadMacAddresses(std::span<MacBytes> addresses) {
  static constexpr EFI_GUID kSimpleNetworkProtocolGuid = {
      0xA19832B9, 0xAC25, 0x11D3, {0x9A, 0x2D, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};
  HandleList controllers;
  if (EFI_ERROR(LocateAllHandles(kSimpleNetworkProtocolGuid, &controllers))) return 0;
  std::size_t count = 0;
  for (const EFI_HANDLE controller : controllers.handles) {
    EFI_SIMPLE_NETWORK* network = nullptr;
    if (count == addresses.size() || EFI_ERROR(HandleInterface(controller, kSimpleNetworkProtocolGuid, &network)) ||
        network->Mode == nullptr) {
      continue;
    }
    std::copy_n(network->Mode->CurrentAddress.Addr, addresses[count].size(), addresses[count].begin());
    // Firmware puts the protocol on handles of its own below the controller, too.
    const auto known = addresses.first(count);
    if (std::ranges::find(known, addresses[count]) == known.end()) ++count;
  }
  return count;
}

}  // namespace platform
