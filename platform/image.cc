#include "platform/image.h"

#include "platform/handles.h"

namespace platform {

static constexpr EFI_GUID kLoadedImageProtocolGuid = LOADED_IMAGE_PROTOCOL;

void InitializeImage(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) { InitializeLib(image, system_table); }

EFI_STATUS ExitImage(EFI_HANDLE image, EFI_STATUS status) {
  BS->Exit(image, status, 0, nullptr);
  return status;
}

EFI_LOADED_IMAGE* LoadedImage(EFI_HANDLE image) {
  EFI_LOADED_IMAGE* loaded = nullptr;
  return EFI_ERROR(HandleInterface(image, kLoadedImageProtocolGuid, &loaded)) ? nullptr : loaded;
}

}  // namespace platform
