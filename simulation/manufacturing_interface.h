// SPDX-License-Identifier: BSD-2-Clause-Patent
// Firmware that stores the system GUID behind the manufacturing interface
// protocol.
#pragma once

#include <array>

#include "platform/protocols/manufacturing_interface.h"
#include "simulation/machine.h"

namespace simulation {

struct GuidStore : ManufacturingInterface {
  explicit GuidStore(Machine& machine);
  GuidStore(const GuidStore&) = delete;
  GuidStore& operator=(const GuidStore&) = delete;
  ~GuidStore();

  std::array<std::uint8_t, 16> guid{};
  // What the operations answer; an error leaves the GUID as it is.
  EFI_STATUS write_status = EFI_SUCCESS;
  EFI_STATUS read_status = EFI_SUCCESS;

 private:
  Machine& machine_;
  EFI_HANDLE handle_;
};

}  // namespace simulation
