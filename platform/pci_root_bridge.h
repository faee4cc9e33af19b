// PCI root bridges (UEFI 2, PCI Root Bridge I/O Protocol). An address in
// configuration space has the bus in bits 31..24, the device in bits 23..16,
// the function in bits 15..8 and the register in bits 7..0.
#pragma once

#include <span>

#include "platform/efi.h"

namespace platform {

using PciRootBridge = EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL;

// All handles that carry a root bridge, in a block of the pool that replaces
// the one of the search before and is kept for good. None on failure.
EFI_STATUS LocatePciRootBridges(std::span<EFI_HANDLE>* handles);

// The bridge's interface, opened for the running image without a lasting claim on it.
EFI_STATUS OpenPciRootBridge(EFI_HANDLE handle, PciRootBridge** bridge);

// Each fails with EFI_NOT_READY when there is no bridge.
EFI_STATUS ReadPciConfiguration(PciRootBridge* bridge, std::uint32_t address, std::span<std::uint32_t> words);
EFI_STATUS ReadPciMemory8(PciRootBridge* bridge, std::uint32_t address, std::uint8_t* byte);
EFI_STATUS ReadPciMemory32(PciRootBridge* bridge, std::uint32_t address, std::uint32_t* word);

}  // namespace platform
