// SPDX-License-Identifier: BSD-2-Clause-Patent
// The processor's I/O ports. A host program may not touch them: there the
// simulated machine answers instead.
#pragma once

#include <cstdint>

namespace platform {

std::uint8_t ReadPort(std::uint16_t port);
void WritePort(std::uint16_t port, std::uint8_t value);

}  // namespace platform
