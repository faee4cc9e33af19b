// SPDX-License-Identifier: BSD-2-Clause-Patent
// The system GUID that some firmware stores and gives itself.
#pragma once

#include <span>

#include "platform/protocols/manufacturing_interface.h"

namespace platform {

// The GUID's 16 bytes as the firmware keeps them.
EFI_STATUS ReadStoredGuid(ManufacturingInterface* interface, std::span<std::uint8_t, 16> guid);
EFI_STATUS WriteStoredGuid(ManufacturingInterface* interface, std::span<std::uint8_t, 16> guid);

}  // namespace platform
