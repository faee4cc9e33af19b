// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/network.h"

#include <algorithm>

#include "simulation/fault.h"
#include "simulation/injection.h"

namespace simulation {
namespace {

constexpr std::array kNames = {
    "SimpleNetwork Start",          "SimpleNetwork Stop",       "SimpleNetwork Initialize",
    "SimpleNetwork Reset",          "SimpleNetwork Shutdown",   "SimpleNetwork ReceiveFilters",
    "SimpleNetwork StationAddress", "SimpleNetwork Statistics", "SimpleNetwork MCastIpToMac",
    "SimpleNetwork NvData",         "SimpleNetwork GetStatus",  "SimpleNetwork Transmit",
    "SimpleNetwork Receive"};
static_assert(
    kNamesEverySlot<kNames, offsetof(EFI_SIMPLE_NETWORK, WaitForPacket) - offsetof(EFI_SIMPLE_NETWORK, Start)>);

EFI_STATUS EFIAPI Start(EFI_SIMPLE_NETWORK* self) {
  if (const Failure failure = Fails("SimpleNetwork Start", kOfDevices)) return failure;
  auto& controller = *static_cast<NetworkController*>(self);
  if (controller.mode.State != EfiSimpleNetworkStopped) return EFI_ALREADY_STARTED;
  if (!EFI_ERROR(controller.start_status)) controller.mode.State = EfiSimpleNetworkStarted;
  return controller.start_status;
}

}  // namespace

NetworkController::NetworkController(Machine& machine, const std::array<std::uint8_t, 6>& mac)
    : EFI_SIMPLE_NETWORK{}, machine_(machine) {
  EFI_SIMPLE_NETWORK* const table = this;
  FillWithRefusals<kNames>(&table->Start);
  table->Start = simulation::Start;
  table->Mode = &mode;
  mode.State = EfiSimpleNetworkStopped;
  std::ranges::copy(mac, mode.CurrentAddress.Addr);
  // Behind the address of an Ethernet controller nothing is promised.
  std::fill(std::begin(mode.CurrentAddress.Addr) + mac.size(), std::end(mode.CurrentAddress.Addr), 0xEE);
  handle_ = machine.handles.Install(kSimpleNetworkGuid, table);
}

NetworkController::~NetworkController() {
  machine_.handles.Uninstall(handle_, kSimpleNetworkGuid, static_cast<EFI_SIMPLE_NETWORK*>(this));
}

}  // namespace simulation
