// SPDX-License-Identifier: BSD-2-Clause-Patent
// One exchange with the management controller through a protocol of the
// firmware: the older IPMI transport, or the newer one.
#pragma once

#include <span>

#include "platform/protocols/firmware_ipmi.h"
#include "platform/protocols/ipmi_transport.h"

namespace platform {

// Hands a request to the controller itself (LUN 0).
EFI_STATUS SendIpmiRequest(IpmiTransport* transport, std::uint8_t net_function, std::uint8_t command,
                           std::span<const std::uint8_t> request);

// Takes the response. `length` holds the capacity of `response` on the way in;
// the length that comes back may be larger. The response's header is dropped.
EFI_STATUS ReceiveIpmiResponse(IpmiTransport* transport, std::uint8_t* completion_code, std::uint8_t* response,
                               std::uint32_t* length);

// Request and response in one call. `response` begins with the completion code;
// `length` is as above.
EFI_STATUS SubmitIpmiCommand(FirmwareIpmi* firmware, std::uint8_t net_function, std::uint8_t command,
                             std::span<std::uint8_t> request, std::uint8_t* response, std::uint32_t* length);

}  // namespace platform
