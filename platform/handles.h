// The handle database: which handles carry a protocol, and its interface.
#pragma once

#include "platform/efi.h"

namespace platform {

// The interface of a protocol on a handle (boot service HandleProtocol).
EFI_STATUS HandleInterface(EFI_HANDLE handle, const EFI_GUID& protocol, void** interface);

template <class Interface>
EFI_STATUS HandleInterface(EFI_HANDLE handle, const EFI_GUID& protocol, Interface** interface) {
  return HandleInterface(handle, protocol, reinterpret_cast<void**>(interface));
}

// The handle that carries the protocol, when it is the only one: the search
// has room for one handle, so two of them give EFI_BUFFER_TOO_SMALL.
EFI_STATUS LocateOnlyHandle(const EFI_GUID& protocol, EFI_HANDLE* handle);

}  // namespace platform
