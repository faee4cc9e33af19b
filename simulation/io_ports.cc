// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/io_ports.h"

#include <algorithm>
#include <vector>

#include "platform/port_io.h"

namespace simulation {
namespace {

std::vector<PortDevice*>& Devices() {
  static std::vector<PortDevice*> devices;
  return devices;
}

PortDevice* Behind(std::uint16_t port) {
  const auto found = std::ranges::find_if(Devices(), [&](const PortDevice* device) { return device->Owns(port); });
  return found == Devices().end() ? nullptr : *found;
}

}  // namespace

PortDevice::PortDevice(std::uint16_t first_port, std::uint16_t count) : first_port_(first_port), count_(count) {
  Devices().push_back(this);
}

PortDevice::~PortDevice() { std::erase(Devices(), this); }

}  // namespace simulation

namespace platform {

std::uint8_t ReadPort(std::uint16_t port) {
  simulation::PortDevice* const device = simulation::Behind(port);
  return device == nullptr ? std::uint8_t{0xFF} : device->ReadPort(port);
}

void WritePort(std::uint16_t port, std::uint8_t value) {
  simulation::PortDevice* const device = simulation::Behind(port);
  if (device != nullptr) device->WritePort(port, value);
}

}  // namespace platform
