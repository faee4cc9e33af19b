#include "platform/image.h"

#include "platform/handles.h"

namespace platform {
namespace {

constexpr EFI_GUID kLoadedImageProtocolGuid = LOADED_IMAGE_PROTOCOL;

constinit EFI_HANDLE running_image = nullptr;

}  // namespace

// gnu-efi's own routine also reads variables and looks for a collation, for parts
// of the library that nothing here uses, and in loops that a firmware which never
// finds a buffer large enough keeps going for ever.
void InitializeImage(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  running_image = image;
  ST = system_table;
  BS = system_table->BootServices;
  RT = system_table->RuntimeServices;
}

EFI_HANDLE RunningImage() { return running_image; }

EFI_STATUS ExitImage(EFI_HANDLE image, EFI_STATUS status) {
  BS->Exit(image, status, 0, nullptr);
  return status;
}

EFI_LOADED_IMAGE* LoadedImage(EFI_HANDLE image) {
  EFI_LOADED_IMAGE* loaded = nullptr;
  return EFI_ERROR(HandleInterface(image, kLoadedImageProtocolGuid, &loaded)) ? nullptr : loaded;
}

}  // namespace platform
