// SPDX-License-Identifier: BSD-2-Clause-Patent
// A network controller that firmware offers through the UEFI Simple Network
// Protocol.
#pragma once

#include <array>

#include "simulation/machine.h"

namespace simulation {

inline constexpr EFI_GUID kSimpleNetworkGuid = EFI_SIMPLE_NETWORK_PROTOCOL_GUID;

struct NetworkController : EFI_SIMPLE_NETWORK {
  NetworkController(Machine& machine, const std::array<std::uint8_t, 6>& mac);
  NetworkController(const NetworkController&) = delete;
  NetworkController& operator=(const NetworkController&) = delete;
  ~NetworkController();

  // What a Start answers while the controller is stopped.
  EFI_STATUS start_status = EFI_SUCCESS;
  EFI_SIMPLE_NETWORK_MODE mode{};

 private:
  Machine& machine_;
  EFI_HANDLE handle_;
};

}  // namespace simulation
