// SPDX-License-Identifier: BSD-2-Clause-Patent
// Network controllers (UEFI 2, Simple Network Protocol).
#pragma once

#include <array>

#include "platform/handles.h"

namespace platform {

using NetworkController = EFI_SIMPLE_NETWORK;

EFI_STATUS LocateNetworkControllers(HandleList* controllers);

// The controller on a handle. One without a mode table has no address and is
// none: EFI_UNSUPPORTED.
EFI_STATUS OpenNetworkController(EFI_HANDLE handle, NetworkController** controller);

// Starts it; one that was started before is used as it is.
EFI_STATUS StartNetworkController(NetworkController* controller);

// The station address, in transmission order.
std::array<std::uint8_t, 6> StationAddress(const NetworkController& controller);

}  // namespace platform
