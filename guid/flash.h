// SPDX-License-Identifier: BSD-2-Clause-Patent
// The system GUID where the firmware keeps it: behind the manufacturing
// interface protocol, else in a memory-mapped flash block that the system
// management flash service erases and writes.
#pragma once

#include "guid/guid_text.h"
#include "platform/manufacturing_interface.h"
#include "report/mode.h"

namespace mfgtest {

inline constexpr std::size_t kFlashBlockBytes = 0x10000;

// The manufacturing interface, or null when no handle gives one.
ManufacturingInterface* FindManufacturingInterface();

// Reads the stored GUID. On failure returns false and leaves the reason in the
// last-error text; a missing parameter is reported to the library as well,
// unless the read is for a probe.
[[nodiscard]] bool ReadGuidFromFlash(RawGuid* guid, Mode mode);

// Requests to the flash service; 0 means success.
[[nodiscard]] std::uint64_t SmiEraseBlock(std::uint32_t address);
[[nodiscard]] std::uint64_t SmiWriteBlock(std::uint32_t address, const void* source, std::uint64_t length);

}  // namespace mfgtest
