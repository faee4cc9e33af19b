// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/pci_bus.h"

#include <algorithm>

#include "simulation/fault.h"
#include "simulation/injection.h"

namespace simulation {
namespace {

constexpr std::array kNames = {
    "PciRootBridge PollMem",       "PciRootBridge PollIo",       "PciRootBridge Mem.Read",
    "PciRootBridge Mem.Write",     "PciRootBridge Io.Read",      "PciRootBridge Io.Write",
    "PciRootBridge Pci.Read",      "PciRootBridge Pci.Write",    "PciRootBridge CopyMem",
    "PciRootBridge Map",           "PciRootBridge Unmap",        "PciRootBridge AllocateBuffer",
    "PciRootBridge FreeBuffer",    "PciRootBridge Flush",        "PciRootBridge GetAttributes",
    "PciRootBridge SetAttributes", "PciRootBridge Configuration"};
static_assert(offsetof(EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL, SegmentNumber) == (kNames.size() + 1) * sizeof(void*));

EFI_STATUS EFIAPI ReadMemory(EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* self, EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_WIDTH width,
                             UINT64 address, UINTN count, void* buffer) {
  auto& bridge = *static_cast<RootBridge*>(self);
  bridge.memory_reads.push_back(address);
  if (const Failure failure = Fails("PciRootBridge Mem.Read", kOfDevices)) return failure;
  auto* const bytes = static_cast<std::uint8_t*>(buffer);
  for (UINTN i = 0; i < count << width; ++i) {
    const auto found = bridge.memory.find(address + i);
    if (found == bridge.memory.end()) return EFI_INVALID_PARAMETER;
    bytes[i] = found->second;
  }
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI ReadConfiguration(EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* self, EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_WIDTH width,
                                    UINT64 address, UINTN count, void* buffer) {
  if (width != EfiPciIoWidthUint32 || count > 16 || (address & 0xFF) != 0)
    Fault("a read of something else than a header");
  auto& bridge = *static_cast<RootBridge*>(self);
  bridge.configuration_reads.emplace_back(address, count);
  if (const Failure failure = Fails("PciRootBridge Pci.Read", kOfDevices)) return failure;
  const auto found = bridge.headers.find(address);
  auto* const words = static_cast<std::uint32_t*>(buffer);
  if (found == bridge.headers.end()) {
    std::fill_n(words, count, 0xFFFFFFFF);
  } else {
    std::copy_n(found->second.begin(), count, words);
  }
  const auto status = bridge.header_statuses.find(address);
  return status == bridge.header_statuses.end() ? EFI_SUCCESS : status->second;
}

}  // namespace

RootBridge::RootBridge(Machine& machine) : EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL{}, machine_(machine) {
  FillWithRefusals<kNames>(&PollMem);
  Mem.Read = ReadMemory;
  Pci.Read = ReadConfiguration;
  handle_ = machine.handles.Install(kRootBridgeGuid, static_cast<EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL*>(this));
}

RootBridge::~RootBridge() {
  machine_.handles.Uninstall(handle_, kRootBridgeGuid, static_cast<EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL*>(this));
}

void RootBridge::AddFunction(std::uint64_t address, std::uint16_t vendor_id, std::uint16_t device_id,
                             std::uint32_t bar) {
  headers[address][0] = std::uint32_t{device_id} << 16 | vendor_id;
  headers[address][4] = bar;
}

void RootBridge::AddRegister(std::uint64_t address, std::uint32_t value) {
  for (unsigned i = 0; i < sizeof value; ++i) memory[address + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

}  // namespace simulation
