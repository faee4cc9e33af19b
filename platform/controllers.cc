#include "platform/controllers.h"

#include "platform/handles.h"

namespace platform {

void ConnectAllControllers() {
  UINTN count = 0;
  EFI_HANDLE* found = nullptr;
  if (EFI_ERROR(BS->LocateHandleBuffer(AllHandles, nullptr, nullptr, &count, &found))) return;
  HandleList all;
  all.handles = {found, count};
  // What no driver takes is no controller.
  for (const EFI_HANDLE handle : all.handles) BS->ConnectController(handle, nullptr, nullptr, TRUE);
}

}  // namespace platform
