// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "drivers/ipmi_kcs/registers.h"

#include "platform/memory.h"
#include "platform/port_io.h"

namespace ipmi_kcs {
namespace {

volatile std::uint8_t* MappedRegister(const Registers& registers, unsigned offset) {
  return platform::WritablePhysicalMemory(registers.address + offset);
}

std::uint16_t Port(const Registers& registers, unsigned offset) {
  return static_cast<std::uint16_t>(registers.address + offset);
}

std::uint8_t Read(const Registers& registers, unsigned offset) {
  if (registers.space == AddressSpace::kMemory) return *MappedRegister(registers, offset);
  return platform::ReadPort(Port(registers, offset));
}

void Write(const Registers& registers, unsigned offset, std::uint8_t value) {
  if (registers.space == AddressSpace::kMemory) {
    *MappedRegister(registers, offset) = value;
  } else {
    platform::WritePort(Port(registers, offset), value);
  }
}

}  // namespace

std::uint8_t ReadData(const Registers& registers) { return Read(registers, 0); }
std::uint8_t ReadStatus(const Registers& registers) { return Read(registers, registers.spacing); }
void WriteData(const Registers& registers, std::uint8_t value) { Write(registers, 0, value); }
void WriteCommand(const Registers& registers, std::uint8_t value) { Write(registers, registers.spacing, value); }

}  // namespace ipmi_kcs
