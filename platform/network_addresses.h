// SPDX-License-Identifier: BSD-2-Clause-Patent
// The MAC addresses of the machine's network controllers.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace platform {

using MacBytes = std::array<std::uint8_t, 6>;

// The current addresses of the controllers that have a driver, each once, in the
// firmware's order, as many as fit; how many. None is started for it.
std::size_t ReadMacAddresses(std::span<MacBytes> addresses);

}  // namespace platform
