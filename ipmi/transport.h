// The module's gateway to the management controller (IPMI 2.0 commands over the
// platform's transport protocol). Every exchange is logged with the debug mask
// of IPMI traffic. A failure leaves its reason in the last-error text, in front
// of the reason of a lower layer.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "platform/protocols/ipmi_transport.h"

namespace mfgtest {

inline constexpr std::uint32_t kIpmiResponseCapacity = 100;

// What the exchanges of one run share.
struct IpmiSession {
  IpmiTransport* transport = nullptr;  // filled by the first successful lookup
  std::uint8_t sequence = 0;           // of the last bridged request
};
extern constinit IpmiSession ipmi_session;

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

// Whether there is a transport. The first success is kept for good.
bool IsIpmiAvailable();

// The same for a test: without a transport a normal run reports that with code
// 23, a probe leaves it in the last-error text.
bool RequireIpmi(bool probe);

// One attempt, with 100 ms between request and response.
bool SendIpmiCommand(IpmiCommand command, std::span<const std::uint8_t> request, IpmiResponse* response);

// Up to five attempts. The waits between request and response are 300 ms, or
// 1300 ms when the request begins with 5, 6 or 7: the FRU device IDs of the
// backplanes, which answer slowly. `completion_code` is written on success.
bool SendIpmiCommandWithRetry(IpmiCommand command, std::span<const std::uint8_t> request, IpmiResponse* response,
                              std::uint8_t* completion_code);

}  // namespace mfgtest
