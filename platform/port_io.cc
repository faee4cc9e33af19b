// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/port_io.h"

namespace platform {

std::uint8_t ReadPort(std::uint16_t port) {
  std::uint8_t value = 0;
  asm volatile("inb %1, %0" : "=a"(value) : "Nd"(port));
  return value;
}

void WritePort(std::uint16_t port, std::uint8_t value) { asm volatile("outb %0, %1" : : "a"(value), "Nd"(port)); }

}  // namespace platform
