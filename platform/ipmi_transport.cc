// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/ipmi_transport.h"

namespace platform {

EFI_STATUS SendIpmiRequest(IpmiTransport* transport, std::uint8_t net_function, std::uint8_t command,
                           std::span<const std::uint8_t> request) {
  return transport->SendIpmiRequest(transport, net_function, 0, command, request.data(),
                                    static_cast<std::uint32_t>(request.size()));
}

EFI_STATUS ReceiveIpmiResponse(IpmiTransport* transport, std::uint8_t* completion_code, std::uint8_t* response,
                               std::uint32_t* length) {
  // Some transports write up to 8 bytes to each of them.
  std::uint64_t net_function = 0;
  std::uint64_t lun = 0;
  std::uint64_t command = 0;
  return transport->ReceiveIpmiResponse(transport, &net_function, &lun, &command, completion_code, response, length);
}

EFI_STATUS SubmitIpmiCommand(FirmwareIpmi* firmware, std::uint8_t net_function, std::uint8_t command,
                             std::span<std::uint8_t> request, std::uint8_t* response, std::uint32_t* length) {
  return firmware->SubmitCommand(firmware, net_function, command, request.data(),
                                 static_cast<std::uint32_t>(request.size()), response, length);
}

}  // namespace platform
