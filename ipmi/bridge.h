// SPDX-License-Identifier: BSD-2-Clause-Patent
// Requests to devices behind the management controller on the primary IPMB,
// bridged by Send Message, Get Message Flags and Get Message (IPMI 2.0).
#pragma once

#include "ipmi/transport.h"

namespace mfgtest {

// Sends one request to the device at slave address `responder` and takes its
// response: the data behind the completion code. On failure the reason is in
// the last-error text, except when no message came in time.
[[nodiscard]] bool SendIpmbMessage(IpmiCommand command, std::uint8_t responder, std::uint8_t responder_lun,
                                   std::span<const std::uint8_t> request, IpmiResponse* response);

// Clears the controller's message flags that are set.
[[nodiscard]] bool ClearBmcMessageFlags();

// Checks the data of a Get Message response that carries an IPMB response and
// unpacks its data.
[[nodiscard]] bool ValidateIpmbResponse(const IpmiResponse& message, std::uint8_t responder, IpmiCommand command,
                                        IpmiResponse* response);

}  // namespace mfgtest
