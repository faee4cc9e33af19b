// SPDX-License-Identifier: BSD-2-Clause-Patent
// The firmware's IPMI transport protocol over a management controller.
#pragma once

#include "platform/protocols/ipmi_transport.h"
#include "simulation/machine.h"
#include "simulation/management_controller.h"

namespace simulation {

// A controller that refuses or fails shows as EFI_DEVICE_ERROR, a silent one as
// EFI_TIMEOUT.
class IpmiDevice : public IpmiTransport {
 public:
  IpmiDevice(Machine& machine, ManagementController& controller);
  IpmiDevice(const IpmiDevice&) = delete;
  IpmiDevice& operator=(const IpmiDevice&) = delete;
  ~IpmiDevice();

  EFI_STATUS Send(const IpmiRequest& request);
  // Copies no more than the capacity but reports the length of all there was.
  EFI_STATUS Receive(std::uint8_t* completion_code, std::uint8_t* response, std::uint32_t* length);

  // What each receive was given.
  std::vector<std::uint32_t> capacities;
  // Whether a response with an error's completion code reports its length too.
  bool reports_length_of_errors = true;

 private:
  Machine& machine_;
  ManagementController& controller_;
  EFI_HANDLE handle_;
  std::optional<IpmiAnswer> answer_{};
};

}  // namespace simulation
