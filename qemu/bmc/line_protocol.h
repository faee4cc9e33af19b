// SPDX-License-Identifier: BSD-2-Clause-Patent
// The serial line protocol between QEMU's ipmi-bmc-extern and a management
// controller, as the OpenIPMI library defines it for virtual machines: frames
// that end in a byte of their own, with escapes.
#pragma once

#include <cstdint>

#include "simulation/management_controller.h"

namespace bmc {

// Takes bytes from QEMU and gives what has to be sent to it.
class LineProtocol {
 public:
  explicit LineProtocol(simulation::ManagementController& controller) : controller_(controller) {}

  // What the byte leads to be sent: mostly nothing.
  simulation::Bytes Take(std::uint8_t byte);

  // The controller wants to leave.
  bool HangsUp() const { return hangs_up_; }

 private:
  simulation::Bytes TakeMessage(const simulation::Bytes& frame);
  // The change of the attention flag, if there is one.
  simulation::Bytes Attention();

  simulation::ManagementController& controller_;
  simulation::Bytes frame_;
  bool is_escaped_ = false;
  bool has_attention_ = false;
  bool hangs_up_ = false;
};

}  // namespace bmc
