#include "platform/handles.h"

namespace platform {

EFI_STATUS HandleInterface(EFI_HANDLE handle, const EFI_GUID& protocol, void** interface) {
  return BS->HandleProtocol(handle, AsFirmwareGuid(protocol), interface);
}

EFI_STATUS LocateOnlyHandle(const EFI_GUID& protocol, EFI_HANDLE* handle) {
  UINTN size = sizeof *handle;
  return BS->LocateHandle(ByProtocol, AsFirmwareGuid(protocol), nullptr, &size, handle);
}

}  // namespace platform
