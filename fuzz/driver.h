// SPDX-License-Identifier: BSD-2-Clause-Patent
// A driver's image on a machine, from its load to its unload.
#pragma once

#include <string>

#include "simulation/fault.h"
#include "simulation/machine.h"

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS testlib_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS start_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS ipmi_kcs_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS smbios_entry_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

namespace fuzz {

class Driver {
 public:
  Driver(simulation::Machine& machine, simulation::ImageEntry entry, std::u16string options = {})
      : Driver(machine, machine.LoadImage(), entry, std::move(options)) {}
  Driver(simulation::Machine& machine, EFI_HANDLE image, simulation::ImageEntry entry, std::u16string options = {})
      : machine_(machine), options_(std::move(options)), image_(image) {
    EFI_LOADED_IMAGE* const loaded = Loaded();
    loaded->LoadOptions = options_.data();
    loaded->LoadOptionsSize = static_cast<UINT32>(options_.size() * sizeof(char16_t));
    const EFI_STATUS status = machine.StartImage(image_, entry).status;
    if (!EFI_ERROR(status)) return;
    machine.UnloadImage(image_);
    image_ = nullptr;
  }
  Driver(const Driver&) = delete;
  Driver& operator=(const Driver&) = delete;
  ~Driver() { Unload(); }

  bool IsLoaded() const { return image_ != nullptr; }

  void Unload() {
    if (!IsLoaded()) return;
    const auto unload = Loaded()->Unload;
    if (unload != nullptr && EFI_ERROR(unload(image_))) simulation::Fault("the driver cannot be unloaded");
    machine_.UnloadImage(image_);
    image_ = nullptr;
  }

 private:
  EFI_LOADED_IMAGE* Loaded() {
    constexpr EFI_GUID kLoadedImage = LOADED_IMAGE_PROTOCOL;
    void* loaded = nullptr;
    machine_.handles.Interface(image_, kLoadedImage, &loaded);
    return static_cast<EFI_LOADED_IMAGE*>(loaded);
  }

  simulation::Machine& machine_;
  std::u16string options_;
  EFI_HANDLE image_;
};

}  // namespace fuzz
