// SPDX-License-Identifier: BSD-2-Clause-Patent
// Message transfer over a KCS interface (IPMI 2.0, "KCS Flow Diagrams"). The
// controller's call for attention (SMS_ATN) is nobody's business here: it only
// says that a message or an event is queued.
#pragma once

#include <array>
#include <span>

#include "drivers/ipmi_kcs/registers.h"
#include "platform/efi.h"

namespace ipmi_kcs {

// Twice of what the longest bridged message takes; a controller that sends
// more never ends.
inline constexpr std::size_t kMessageBytes = 512;

struct Message {
  std::array<std::uint8_t, kMessageBytes> bytes{};
  std::size_t length = 0;

  std::span<const std::uint8_t> All() const { return std::span(bytes).first(length); }
};

// One request and its response share the time that they may take.
struct Transfer {
  const Registers& registers;
  std::uint64_t microseconds_left;
};

// No controller shows this status; an address at which nothing answers does.
bool IsAnswering(const Registers& registers);

// The message has at least one byte. EFI_TIMEOUT when the transfer's time is
// over, EFI_DEVICE_ERROR when the controller is in another state than the
// transfer asks for; the controller is to be recovered then. What a read left
// in the message is undefined on failure.
EFI_STATUS WriteMessage(Transfer& transfer, std::span<const std::uint8_t> message);
EFI_STATUS ReadMessage(Transfer& transfer, Message* message);

// Ends whatever transfer the controller is in, so that it is idle. Gives up
// after a second.
EFI_STATUS Recover(const Registers& registers);

}  // namespace ipmi_kcs
