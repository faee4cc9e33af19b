// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/simple_network.h"

#include <algorithm>

namespace platform {
namespace {

constexpr EFI_GUID kSimpleNetworkProtocolGuid = {
    0xA19832B9, 0xAC25, 0x11D3, {0x9A, 0x2D, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};

}  // namespace

EFI_STATUS LocateNetworkControllers(HandleList* controllers) {
  return LocateAllHandles(kSimpleNetworkProtocolGuid, controllers);
}

EFI_STATUS OpenNetworkController(EFI_HANDLE handle, NetworkController** controller) {
  const EFI_STATUS status = HandleInterface(handle, kSimpleNetworkProtocolGuid, controller);
  if (EFI_ERROR(status)) return status;
  return (*controller)->Mode == nullptr ? EFI_UNSUPPORTED : EFI_SUCCESS;
}

EFI_STATUS StartNetworkController(NetworkController* controller) {
  const EFI_STATUS status = controller->Start(controller);
  return status == EFI_ALREADY_STARTED ? EFI_SUCCESS : status;
}

std::array<std::uint8_t, 6> StationAddress(const NetworkController& controller) {
  std::array<std::uint8_t, 6> address;
  std::copy_n(controller.Mode->CurrentAddress.Addr, address.size(), address.data());
  return address;
}

}  // namespace platform
