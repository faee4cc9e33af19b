// SPDX-License-Identifier: BSD-2-Clause-Patent
// The two registers of a KCS interface (IPMI 2.0, "KCS Interface Registers"):
// data, and one that reads as status and takes commands.
#pragma once

#include <cstdint>

namespace ipmi_kcs {

enum class AddressSpace : std::uint8_t { kIo, kMemory };

struct Registers {
  AddressSpace space = AddressSpace::kIo;
  std::uint8_t spacing = 1;  // bytes from the data register to the other one
  std::uint64_t address = 0;
};

// Whether registers may be that many bytes apart.
constexpr bool IsSpacing(std::uint64_t bytes) { return bytes == 1 || bytes == 4 || bytes == 16; }

// Whether both registers lie within their address space, and not at its very
// start, where firmware that does not know the address puts them.
constexpr bool AreInSpace(const Registers& registers) {
  const std::uint64_t last = registers.space == AddressSpace::kIo ? UINT16_MAX : UINT64_MAX;
  return registers.address != 0 && registers.address <= last - registers.spacing;
}

// For messages.
constexpr const char16_t* SpaceName(AddressSpace space) { return space == AddressSpace::kIo ? u"I/O" : u"memory"; }

std::uint8_t ReadData(const Registers& registers);
std::uint8_t ReadStatus(const Registers& registers);
void WriteData(const Registers& registers, std::uint8_t value);
void WriteCommand(const Registers& registers, std::uint8_t value);

}  // namespace ipmi_kcs
