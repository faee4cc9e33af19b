// SPDX-License-Identifier: BSD-2-Clause-Patent
// A PCI root bridge (UEFI 2, PCI Root Bridge I/O Protocol): configuration space
// and memory-mapped space, for reading.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "platform/efi.h"
#include "simulation/machine.h"

namespace simulation {

inline constexpr EFI_GUID kRootBridgeGuid = EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_GUID;

class RootBridge : public EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL {
 public:
  explicit RootBridge(Machine& machine);
  RootBridge(const RootBridge&) = delete;
  RootBridge& operator=(const RootBridge&) = delete;
  ~RootBridge();

  // A function with these IDs and this first base address register.
  void AddFunction(std::uint64_t address, std::uint16_t vendor_id, std::uint16_t device_id, std::uint32_t bar = 0);
  // A 32-bit register in memory-mapped space.
  void AddRegister(std::uint64_t address, std::uint32_t value);

  // Configuration headers by the address of their first register: bus in bits
  // 31..24, device in bits 23..16, function in bits 15..8. Where there is no
  // device, all bits read as ones.
  std::map<std::uint64_t, std::array<std::uint32_t, 16>> headers;
  // What a read of a header ends with, its data in the buffer, where not success.
  std::map<std::uint64_t, EFI_STATUS> header_statuses;
  // Address and number of words of every read of configuration space.
  std::vector<std::pair<std::uint64_t, std::size_t>> configuration_reads;
  // Bytes of memory-mapped space. Elsewhere a read fails.
  std::map<std::uint64_t, std::uint8_t> memory;
  // The address of every read of memory-mapped space, in the order of the reads.
  std::vector<std::uint64_t> memory_reads;

 private:
  Machine& machine_;
  EFI_HANDLE handle_;
};

}  // namespace simulation
