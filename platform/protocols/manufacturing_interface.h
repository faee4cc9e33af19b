// SPDX-License-Identifier: BSD-2-Clause-Patent
// The manufacturing interface protocol, by which some firmware stores and gives
// the system GUID itself.
#pragma once

#include "platform/efi.h"

inline constexpr EFI_GUID kManufacturingInterfaceProtocolGuid = {
    0xC58460A1, 0x2C70, 0x11D4, {0xBC, 0x89, 0x00, 0x80, 0xC7, 0x3C, 0x88, 0x81}};

struct ManufacturingInterface {
  using Transfer = EFI_STATUS(EFIAPI*)(ManufacturingInterface* self, std::uint32_t index, std::uint8_t* guid,
                                       void* reserved);
  void* unused[2];
  Transfer WriteGuid;  // stores the 16 bytes at `guid`
  Transfer ReadGuid;   // gives them
};

static_assert(offsetof(ManufacturingInterface, WriteGuid) == 16);
static_assert(offsetof(ManufacturingInterface, ReadGuid) == 24);
