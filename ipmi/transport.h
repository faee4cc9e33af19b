// SPDX-License-Identifier: BSD-2-Clause-Patent
// The module's gateway to the management controller (IPMI 2.0 commands over the
// platform's transport protocol). Every exchange is logged with the debug mask
// of IPMI traffic. A failure leaves its reason in the last-error text, in front
// of the reason of a lower layer.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "report/mode.h"

namespace mfgtest {

inline constexpr std::uint32_t kIpmiResponseCapacity = 100;

// The data of a response, without its header and completion code. A successful
// exchange overwrites as many bytes as it returned; a failed one leaves all as
// it was.
struct IpmiResponse {
  std::array<std::uint8_t, kIpmiResponseCapacity> data{};
  std::uint32_t length = 0;
};

struct IpmiCommand {
  std::uint8_t net_function;
  std::uint8_t command;
};

// Forgets the transport and the sequence of bridged requests: every image
// starts without them.
void ForgetIpmiSession();

// The sequence number of the next bridged request.
std::uint8_t NextIpmbSequence();

// Whether there is a transport. The first success is kept for good.
[[nodiscard]] bool IsIpmiAvailable();

// The same for a test: without a transport a test reports that with code 23, a
// probe leaves it in the last-error text.
[[nodiscard]] bool RequireIpmi(Mode mode);

// One attempt, with 100 ms between request and response.
[[nodiscard]] bool SendIpmiCommand(IpmiCommand command, std::span<const std::uint8_t> request, IpmiResponse* response);

// Up to five attempts. The waits between request and response are 300 ms, or
// 1300 ms when the request begins with 5, 6 or 7: the FRU device IDs of the
// backplanes, which answer slowly. `completion_code` is written on success.
[[nodiscard]] bool SendIpmiCommandWithRetry(IpmiCommand command, std::span<const std::uint8_t> request,
                                            IpmiResponse* response, std::uint8_t* completion_code);

}  // namespace mfgtest
