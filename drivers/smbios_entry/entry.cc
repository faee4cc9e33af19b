// SPDX-License-Identifier: BSD-2-Clause-Patent
// Start and end of the driver: it stays resident when it bridges something.
#include "drivers/smbios_entry/acpi.h"
#include "drivers/smbios_entry/smbios.h"
#include "platform/image.h"
#include "platform/say.h"

namespace smbios_entry {
namespace {

constinit Offer smbios_offer{};
constinit Offer acpi_offer{};

// An error leaves the driver where it is: what is listed must not go away under
// its readers.
EFI_STATUS EFIAPI Unload(EFI_HANDLE) {
  const EFI_STATUS smbios = Withdraw(smbios_offer);
  const EFI_STATUS acpi = Withdraw(acpi_offer);
  return EFI_ERROR(smbios) ? smbios : acpi;
}

EFI_STATUS Start(EFI_HANDLE image) {
  smbios_offer = {};
  acpi_offer = {};
  const EFI_STATUS smbios = OfferSmbios(smbios_offer);
  const EFI_STATUS acpi = OfferAcpi(acpi_offer);
  if (smbios == EFI_ALREADY_STARTED && acpi == EFI_ALREADY_STARTED) {
    platform::Say(platform::Colour::kNormal,
                  "smbios_entry has nothing to do here: the tests read the firmware's own tables.\n");
  }
  if (EFI_ERROR(smbios) && EFI_ERROR(acpi)) return smbios == EFI_ALREADY_STARTED ? acpi : smbios;
  if (EFI_LOADED_IMAGE* const loaded = platform::LoadedImage(image); loaded != nullptr) loaded->Unload = Unload;
  return EFI_SUCCESS;
}

}  // namespace
}  // namespace smbios_entry

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  platform::InitializeImage(image, system_table);
  return smbios_entry::Start(image);
}
