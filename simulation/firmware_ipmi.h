// Newer firmware's own IPMI protocol over a management controller.
#pragma once

#include "platform/protocols/firmware_ipmi.h"
#include "simulation/machine.h"
#include "simulation/management_controller.h"

namespace simulation {

// A controller that is silent or refuses shows as EFI_TIMEOUT or
// EFI_DEVICE_ERROR.
class FirmwareIpmiDevice : public FirmwareIpmi {
 public:
  FirmwareIpmiDevice(Machine& machine, ManagementController& controller);
  FirmwareIpmiDevice(const FirmwareIpmiDevice&) = delete;
  FirmwareIpmiDevice& operator=(const FirmwareIpmiDevice&) = delete;
  ~FirmwareIpmiDevice();

  EFI_STATUS Submit(const IpmiRequest& request, std::uint8_t* response, std::uint32_t* size);

  // Gives a response of this size whatever was asked.
  std::optional<std::uint32_t> reported_size{};

 private:
  Machine& machine_;
  ManagementController& controller_;
  EFI_HANDLE handle_;
};

}  // namespace simulation
