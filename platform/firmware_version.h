// SPDX-License-Identifier: BSD-2-Clause-Patent
#pragma once

#include "platform/efi.h"

namespace platform {

// What the firmware calls itself in the system table. Either may say nothing.
struct FirmwareVersion {
  const char16_t* vendor;
  std::uint32_t revision;
};

inline FirmwareVersion ReadFirmwareVersion() {
  return {ST->FirmwareVendor == nullptr ? u"" : AsText(ST->FirmwareVendor), ST->FirmwareRevision};
}

}  // namespace platform
