// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/handles.h"

#include <array>

namespace platform {
namespace {

// Of a protocol that a system has once, or once for each shell.
constexpr std::size_t kMostProviders = 64;

}  // namespace

EFI_STATUS HandleInterface(EFI_HANDLE handle, const EFI_GUID& protocol, void** interface) {
  *interface = nullptr;
  return Given(BS->HandleProtocol(handle, AsFirmwareGuid(protocol), interface), interface);
}

EFI_STATUS LocateOnlyHandle(const EFI_GUID& protocol, EFI_HANDLE* handle) {
  return LocateHandles(protocol, {handle, 1});
}

EFI_STATUS LocateHandles(const EFI_GUID& protocol, std::span<EFI_HANDLE> handles) {
  UINTN size = handles.size_bytes();
  return BS->LocateHandle(ByProtocol, AsFirmwareGuid(protocol), nullptr, &size, handles.data());
}

EFI_STATUS LocateHandlesInPool(const EFI_GUID* protocol, std::span<EFI_HANDLE>* handles) {
  UINTN count = 0;
  EFI_HANDLE* found = nullptr;
  const EFI_STATUS status = BS->LocateHandleBuffer(protocol == nullptr ? AllHandles : ByProtocol,
                                                   const_cast<EFI_GUID*>(protocol), nullptr, &count, &found);
  *handles = {};
  if (EFI_ERROR(status)) return status;
  if (count > 0 && found == nullptr) return EFI_NOT_FOUND;
  *handles = {found, count};
  return status;
}

HandleList::~HandleList() {
  if (handles.data() != nullptr) ::FreePool(handles.data());
}

EFI_STATUS LocateAllHandles(const EFI_GUID& protocol, HandleList* list) {
  return LocateHandlesInPool(&protocol, &list->handles);
}

// A handle without a driver for it is no failure: most are none of a device.
EFI_STATUS ConnectAllControllers(std::size_t* before, std::size_t* after) {
  HandleList all;
  if (const EFI_STATUS status = LocateHandlesInPool(nullptr, &all.handles); EFI_ERROR(status)) return status;
  for (const EFI_HANDLE handle : all.handles) BS->ConnectController(handle, nullptr, nullptr, TRUE);
  HandleList now;
  const EFI_STATUS status = LocateHandlesInPool(nullptr, &now.handles);
  *before = all.handles.size();
  *after = now.handles.size();
  return status;
}

void* FirstInterface(const EFI_GUID& protocol) {
  std::array<EFI_HANDLE, kMostProviders> handles{};
  if (EFI_ERROR(LocateHandles(protocol, handles))) return nullptr;
  for (const EFI_HANDLE handle : handles) {
    void* interface = nullptr;
    if (handle != nullptr && !EFI_ERROR(HandleInterface(handle, protocol, &interface))) return interface;
  }
  return nullptr;
}

EFI_STATUS InstallInterface(EFI_HANDLE* handle, const EFI_GUID& protocol, void* interface) {
  return BS->InstallProtocolInterface(handle, AsFirmwareGuid(protocol), EFI_NATIVE_INTERFACE, interface);
}

EFI_STATUS UninstallInterface(EFI_HANDLE handle, const EFI_GUID& protocol, void* interface) {
  return BS->UninstallProtocolInterface(handle, AsFirmwareGuid(protocol), interface);
}

EFI_STATUS WatchProtocol(const EFI_GUID& protocol, EFI_EVENT_NOTIFY notify, ProtocolWatch* watch) {
  EFI_STATUS status = BS->CreateEvent(EVT_NOTIFY_SIGNAL, TPL_CALLBACK, notify, nullptr, &watch->event);
  status = Given(status, &watch->event);
  if (EFI_ERROR(status)) return status;
  status = BS->RegisterProtocolNotify(AsFirmwareGuid(protocol), watch->event, &watch->registration);
  status = Given(status, &watch->registration);
  if (EFI_ERROR(status)) EndWatch(watch);
  return status;
}

EFI_HANDLE NextWatchedHandle(const ProtocolWatch& watch) {
  EFI_HANDLE handle = nullptr;
  UINTN size = sizeof handle;
  const EFI_STATUS status = BS->LocateHandle(ByRegisterNotify, nullptr, watch.registration, &size, &handle);
  return EFI_ERROR(status) ? nullptr : handle;
}

void EndWatch(ProtocolWatch* watch) {
  if (watch->event != nullptr) BS->CloseEvent(watch->event);
  *watch = {};
}

}  // namespace platform
