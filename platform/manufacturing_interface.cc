// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/manufacturing_interface.h"

namespace platform {

EFI_STATUS ReadStoredGuid(ManufacturingInterface* interface, std::span<std::uint8_t, 16> guid) {
  return interface->ReadGuid(interface, 0, guid.data(), nullptr);
}

EFI_STATUS WriteStoredGuid(ManufacturingInterface* interface, std::span<std::uint8_t, 16> guid) {
  return interface->WriteGuid(interface, 0, guid.data(), nullptr);
}

}  // namespace platform
