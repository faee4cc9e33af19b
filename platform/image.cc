#include "platform/image.h"

namespace platform {

void InitializeImage(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) { InitializeLib(image, system_table); }

EFI_STATUS ExitImage(EFI_HANDLE image, EFI_STATUS status) {
  BS->Exit(image, status, 0, nullptr);
  return status;
}

}  // namespace platform
