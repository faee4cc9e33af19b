// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/ipmi_device.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "simulation/fault.h"
#include "simulation/injection.h"

namespace simulation {
namespace {

using Manner = IpmiAnswer::Manner;

constexpr std::uint8_t kUnspecified = 0xFF;
constexpr std::size_t kMostRequestBytes = 300;
constexpr std::size_t kHeaderOutput = 8;

std::uint64_t EFIAPI RefuseUnused() {
  Fault("the first operation of the IPMI transport was called");
  return EFI_UNSUPPORTED;
}

EFI_STATUS EFIAPI SendRequest(IpmiTransport* self, std::uint8_t net_function, std::uint16_t lun, std::uint8_t command,
                              const std::uint8_t* request, std::uint32_t request_length) {
  if (lun != 0) Fault("an IPMI request to LUN " + std::to_string(lun));
  if (request_length > kMostRequestBytes) Fault("an IPMI request of " + std::to_string(request_length) + " bytes");
  Bytes data(request, request + request_length);
  return static_cast<IpmiDevice*>(self)->Send({net_function, command, std::move(data)});
}

EFI_STATUS EFIAPI ReceiveResponse(IpmiTransport* self, void* net_function, void* lun, void* command,
                                  std::uint8_t* completion_code, std::uint8_t* response,
                                  std::uint32_t* response_length) {
  for (void* const output : {net_function, lun, command}) std::memset(output, 0xA5, kHeaderOutput);
  return static_cast<IpmiDevice*>(self)->Receive(completion_code, response, response_length);
}

}  // namespace

IpmiDevice::IpmiDevice(Machine& machine, ManagementController& controller)
    : IpmiTransport{reinterpret_cast<void*>(&RefuseUnused), SendRequest, ReceiveResponse},
      machine_(machine),
      controller_(controller),
      handle_(machine.handles.Install(kIpmiTransportProtocolGuid, static_cast<IpmiTransport*>(this))) {}

IpmiDevice::~IpmiDevice() {
  machine_.handles.Uninstall(handle_, kIpmiTransportProtocolGuid, static_cast<IpmiTransport*>(this));
}

EFI_STATUS IpmiDevice::Send(const IpmiRequest& request) {
  constexpr std::uint8_t kStorage = 0x0A;
  constexpr std::uint8_t kWriteFruData = 0x12;
  if (request.net_function == kStorage && request.command == kWriteFruData) machine_.NoteWrite("Write FRU Data");
  answer_.reset();
  if (const Failure failure = Fails("SendIpmiRequest", kOfDevices)) return failure;
  answer_ = controller_.Answer(request);
  if (answer_->manner == Manner::kRefusal || answer_->manner == Manner::kHangUp) {
    answer_.reset();
    return EFI_DEVICE_ERROR;
  }
  return EFI_SUCCESS;
}

EFI_STATUS IpmiDevice::Receive(std::uint8_t* completion_code, std::uint8_t* response, std::uint32_t* length) {
  if (!answer_) Fault("a response was asked for without a request");
  capacities.push_back(*length);
  IpmiAnswer answer = *std::exchange(answer_, std::nullopt);
  const Failure failure = Fails("ReceiveIpmiResponse", {EFI_DEVICE_ERROR, EFI_NOT_READY, EFI_ABORTED, kTooMuch});
  if (failure) return failure.GiveSize(length);
  if (Fails("IPMI command", {EFI_DEVICE_ERROR})) answer = {.completion_code = kUnspecified};
  if (answer.manner == Manner::kSilence) return EFI_TIMEOUT;
  *completion_code = answer.completion_code;
  std::copy_n(answer.data.begin(), std::min<std::size_t>(*length, answer.data.size()), response);
  const bool failed = answer.manner == Manner::kReceiveError;
  if (answer.completion_code == 0 || reports_length_of_errors) {
    *length = static_cast<std::uint32_t>(answer.data.size());
  }
  return failed ? EFI_DEVICE_ERROR : EFI_SUCCESS;
}

}  // namespace simulation
