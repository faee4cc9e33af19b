// SPDX-License-Identifier: BSD-2-Clause-Patent
// A board's firmware, as far as it keeps the system GUID behind the
// manufacturing interface. The GUID lives as long as the driver is loaded and
// reads as erased flash before the first write.
#include <array>
#include <cstring>

#include "platform/handles.h"
#include "platform/image.h"
#include "platform/protocols/manufacturing_interface.h"

namespace {

constinit std::array<std::uint8_t, 16> stored = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                                 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

EFI_STATUS EFIAPI WriteGuid(ManufacturingInterface*, std::uint32_t index, std::uint8_t* guid, void*) {
  if (index != 0 || guid == nullptr) return EFI_INVALID_PARAMETER;
  std::memcpy(stored.data(), guid, stored.size());
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI ReadGuid(ManufacturingInterface*, std::uint32_t index, std::uint8_t* guid, void*) {
  if (index != 0 || guid == nullptr) return EFI_INVALID_PARAMETER;
  std::memcpy(guid, stored.data(), stored.size());
  return EFI_SUCCESS;
}

constinit ManufacturingInterface interface {};

}  // namespace

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  platform::InitializeImage(image, system_table);
  interface.WriteGuid = WriteGuid;
  interface.ReadGuid = ReadGuid;
  EFI_HANDLE handle = nullptr;
  return platform::InstallInterface(&handle, kManufacturingInterfaceProtocolGuid, &interface);
}
