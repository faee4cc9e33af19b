// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/firmware_ipmi.h"

#include <algorithm>

#include "simulation/injection.h"

namespace simulation {
namespace {

using Manner = IpmiAnswer::Manner;

EFI_STATUS EFIAPI SubmitToController(FirmwareIpmi* self, std::uint8_t net_function, std::uint8_t command,
                                     std::uint8_t* request, std::uint32_t request_size, std::uint8_t* response,
                                     std::uint32_t* response_size) {
  const IpmiRequest message{net_function, command, Bytes(request, request + request_size)};
  return static_cast<FirmwareIpmiDevice*>(self)->Submit(message, response, response_size);
}

}  // namespace

FirmwareIpmiDevice::FirmwareIpmiDevice(Machine& machine, ManagementController& controller)
    : FirmwareIpmi{SubmitToController},
      machine_(machine),
      controller_(controller),
      handle_(machine.handles.Install(kFirmwareIpmiProtocolGuid, static_cast<FirmwareIpmi*>(this))) {}

FirmwareIpmiDevice::~FirmwareIpmiDevice() {
  machine_.handles.Uninstall(handle_, kFirmwareIpmiProtocolGuid, static_cast<FirmwareIpmi*>(this));
}

EFI_STATUS FirmwareIpmiDevice::Submit(const IpmiRequest& request, std::uint8_t* response, std::uint32_t* size) {
  const Failure failure = Fails("SubmitCommand", {EFI_DEVICE_ERROR, EFI_NOT_READY, EFI_ABORTED, kTooMuch});
  if (failure) return failure.GiveSize(size);
  IpmiAnswer answer = controller_.Answer(request);
  if (answer.manner == Manner::kSilence) return EFI_TIMEOUT;
  if (answer.manner != Manner::kGiven) return EFI_DEVICE_ERROR;
  answer.data.insert(answer.data.begin(), answer.completion_code);
  if (answer.data.size() > *size) return EFI_BUFFER_TOO_SMALL;
  std::ranges::copy(answer.data, response);
  *size = reported_size.value_or(static_cast<std::uint32_t>(answer.data.size()));
  return EFI_SUCCESS;
}

}  // namespace simulation
