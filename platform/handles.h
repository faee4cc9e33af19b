// SPDX-License-Identifier: BSD-2-Clause-Patent
// The handle database: which handles carry a protocol, and its interface.
#pragma once

#include <span>

#include "platform/efi.h"

namespace platform {

// The status of a service that was to give something. Some firmware calls it a
// success to give nothing.
inline EFI_STATUS Given(EFI_STATUS status, void* const* what) {
  return !EFI_ERROR(status) && *what == nullptr ? EFI_UNSUPPORTED : status;
}
template <class Interface>
EFI_STATUS Given(EFI_STATUS status, Interface* const* what) {
  return Given(status, reinterpret_cast<void* const*>(what));
}

// The interface of a protocol on a handle (boot service HandleProtocol). A
// protocol that was installed without one gives EFI_UNSUPPORTED.
[[nodiscard]] EFI_STATUS HandleInterface(EFI_HANDLE handle, const EFI_GUID& protocol, void** interface);

template <class Interface>
EFI_STATUS HandleInterface(EFI_HANDLE handle, const EFI_GUID& protocol, Interface** interface) {
  return HandleInterface(handle, protocol, reinterpret_cast<void**>(interface));
}

// The handle that carries the protocol, when it is the only one: the search
// has room for one handle, so two of them give EFI_BUFFER_TOO_SMALL.
[[nodiscard]] EFI_STATUS LocateOnlyHandle(const EFI_GUID& protocol, EFI_HANDLE* handle);

// All handles that carry the protocol. More of them than `handles` has room
// for give EFI_BUFFER_TOO_SMALL.
[[nodiscard]] EFI_STATUS LocateHandles(const EFI_GUID& protocol, std::span<EFI_HANDLE> handles);

// All handles that carry the protocol, or all there are for null, in a block of
// the pool. None on failure.
[[nodiscard]] EFI_STATUS LocateHandlesInPool(const EFI_GUID* protocol, std::span<EFI_HANDLE>* handles);

// Handles in a block of the pool, which is released when the list goes out of
// scope.
struct HandleList {
  HandleList() = default;
  HandleList(const HandleList&) = delete;
  HandleList& operator=(const HandleList&) = delete;
  ~HandleList();

  std::span<EFI_HANDLE> handles{};
};

// All handles that carry the protocol, however many. The list is empty on
// failure.
[[nodiscard]] EFI_STATUS LocateAllHandles(const EFI_GUID& protocol, HandleList* list);

// Has every driver start on every device, as a shell's `connect -r` does, and
// gives how many handles there were before and are then. Devices that nobody
// needed to boot are there only after it.
EFI_STATUS ConnectAllControllers(std::size_t* before, std::size_t* after);

// The first instance of a protocol in the system, or null. Not for devices: more
// than 64 handles with the protocol count as none.
void* FirstInterface(const EFI_GUID& protocol);

template <class Interface>
Interface* FirstInterface(const EFI_GUID& protocol) {
  return static_cast<Interface*>(FirstInterface(protocol));
}

// Puts an interface on a handle, or takes it off again. A null handle is
// replaced by a new one; a handle ends with its last interface.
EFI_STATUS InstallInterface(EFI_HANDLE* handle, const EFI_GUID& protocol, void* interface);
EFI_STATUS UninstallInterface(EFI_HANDLE handle, const EFI_GUID& protocol, void* interface);

// The firmware's promise to call back whenever a protocol is installed.
struct ProtocolWatch {
  EFI_EVENT event = nullptr;
  void* registration = nullptr;
};

// `notify` runs at TPL_CALLBACK, while InstallProtocolInterface returns to its
// caller. Handles that carry the protocol already are told once as well, at
// the first notification: take them with NextWatchedHandle before.
EFI_STATUS WatchProtocol(const EFI_GUID& protocol, EFI_EVENT_NOTIFY notify, ProtocolWatch* watch);

// The next handle on which the protocol appeared, or null.
EFI_HANDLE NextWatchedHandle(const ProtocolWatch& watch);

void EndWatch(ProtocolWatch* watch);

}  // namespace platform
