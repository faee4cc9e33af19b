// SPDX-License-Identifier: BSD-2-Clause-Patent
// Devices behind the processor's I/O ports. A port behind which there is none
// reads as 0xFF.
#pragma once

#include <cstdint>

namespace simulation {

class PortDevice {
 public:
  PortDevice(std::uint16_t first_port, std::uint16_t count);
  PortDevice(const PortDevice&) = delete;
  PortDevice& operator=(const PortDevice&) = delete;
  virtual ~PortDevice();

  bool Owns(std::uint16_t port) const { return port >= first_port_ && port - first_port_ < count_; }
  std::uint8_t ReadPort(std::uint16_t port) { return Read(static_cast<std::uint16_t>(port - first_port_)); }
  void WritePort(std::uint16_t port, std::uint8_t value) {
    Write(static_cast<std::uint16_t>(port - first_port_), value);
  }

 private:
  virtual std::uint8_t Read(std::uint16_t offset) = 0;
  virtual void Write(std::uint16_t offset, std::uint8_t value) = 0;

  std::uint16_t first_port_;
  std::uint16_t count_;
};

}  // namespace simulation
