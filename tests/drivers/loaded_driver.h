// SPDX-License-Identifier: BSD-2-Clause-Patent
// A driver image on a simulated machine, from its load to its unload.
#pragma once

#include "simulation/machine.h"

inline EFI_LOADED_IMAGE* LoadedImageOf(const simulation::Machine& machine, EFI_HANDLE image) {
  constexpr EFI_GUID kLoadedImage = LOADED_IMAGE_PROTOCOL;
  void* loaded = nullptr;
  machine.handles.Interface(image, kLoadedImage, &loaded);
  return static_cast<EFI_LOADED_IMAGE*>(loaded);
}

struct LoadedDriver {
  LoadedDriver(simulation::Machine& on, simulation::ImageEntry entry, std::u16string options = {})
      : machine(on), image(on.LoadImage()) {
    EFI_LOADED_IMAGE* const loaded = LoadedImageOf(machine, image);
    loaded->LoadOptions = options.data();
    loaded->LoadOptionsSize = static_cast<UINT32>(options.size() * sizeof(char16_t));
    status = machine.StartImage(image, entry).status;
    if (EFI_ERROR(status)) machine.UnloadImage(image);
  }
  LoadedDriver(const LoadedDriver&) = delete;
  LoadedDriver& operator=(const LoadedDriver&) = delete;
  ~LoadedDriver() { Unload(); }

  EFI_STATUS Unload() {
    if (EFI_ERROR(status)) return status;
    const EFI_STATUS end = LoadedImageOf(machine, image)->Unload(image);
    if (EFI_ERROR(end)) return end;
    machine.UnloadImage(image);
    status = EFI_NOT_STARTED;
    return end;
  }

  simulation::Machine& machine;
  EFI_HANDLE image;
  EFI_STATUS status;
};
