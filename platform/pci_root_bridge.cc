// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/pci_root_bridge.h"

#include "platform/handles.h"
#include "platform/image.h"

namespace platform {
namespace {

static_assert(offsetof(PciRootBridge, Mem) == 24);
static_assert(offsetof(PciRootBridge, Pci) == 56);

constexpr EFI_GUID kPciRootBridgeIoProtocolGuid = {
    0x2F707EBB, 0x4A1A, 0x11D4, {0x9A, 0x38, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};

}  // namespace

EFI_STATUS LocatePciRootBridges(std::span<EFI_HANDLE>* handles) {
  if (handles->data() != nullptr) ::FreePool(handles->data());
  return LocateHandlesInPool(&kPciRootBridgeIoProtocolGuid, handles);
}

EFI_STATUS OpenPciRootBridge(EFI_HANDLE handle, PciRootBridge** bridge) {
  void* interface = nullptr;
  const EFI_STATUS status = BS->OpenProtocol(handle, AsFirmwareGuid(kPciRootBridgeIoProtocolGuid), &interface,
                                             RunningImage(), nullptr, EFI_OPEN_PROTOCOL_GET_PROTOCOL);
  *bridge = EFI_ERROR(status) ? nullptr : static_cast<PciRootBridge*>(interface);
  return status;
}

EFI_STATUS ReadPciConfiguration(PciRootBridge* bridge, std::uint32_t address, std::span<std::uint32_t> words) {
  if (bridge == nullptr) return EFI_NOT_READY;
  return bridge->Pci.Read(bridge, EfiPciIoWidthUint32, address, words.size(), words.data());
}

EFI_STATUS ReadPciMemory8(PciRootBridge* bridge, std::uint32_t address, std::uint8_t* byte) {
  if (bridge == nullptr) return EFI_NOT_READY;
  return bridge->Mem.Read(bridge, EfiPciIoWidthUint8, address, 1, byte);
}

EFI_STATUS ReadPciMemory32(PciRootBridge* bridge, std::uint32_t address, std::uint32_t* word) {
  if (bridge == nullptr) return EFI_NOT_READY;
  return bridge->Mem.Read(bridge, EfiPciIoWidthUint32, address, 1, word);
}

}  // namespace platform
