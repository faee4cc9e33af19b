#include "platform/handles.h"

#include <array>

namespace platform {
namespace {

// Of a protocol that a system has once, or once for each shell.
constexpr std::size_t kMostProviders = 64;

}  // namespace

EFI_STATUS HandleInterface(EFI_HANDLE handle, const EFI_GUID& protocol, void** interface) {
  *interface = nullptr;
  const EFI_STATUS status = BS->HandleProtocol(handle, AsFirmwareGuid(protocol), interface);
  return !EFI_ERROR(status) && *interface == nullptr ? EFI_UNSUPPORTED : status;
}

EFI_STATUS LocateOnlyHandle(const EFI_GUID& protocol, EFI_HANDLE* handle) {
  return LocateHandles(protocol, {handle, 1});
}

EFI_STATUS LocateHandles(const EFI_GUID& protocol, std::span<EFI_HANDLE> handles) {
  UINTN size = handles.size_bytes();
  return BS->LocateHandle(ByProtocol, AsFirmwareGuid(protocol), nullptr, &size, handles.data());
}

HandleList::~HandleList() {
  if (handles.data() != nullptr) ::FreePool(handles.data());
}

EFI_STATUS LocateAllHandles(const EFI_GUID& protocol, HandleList* list) {
  UINTN count = 0;
  EFI_HANDLE* found = nullptr;
  const EFI_STATUS status = BS->LocateHandleBuffer(ByProtocol, AsFirmwareGuid(protocol), nullptr, &count, &found);
  if (!EFI_ERROR(status)) list->handles = {found, count};
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
  if (EFI_ERROR(status)) return status;
  status = BS->RegisterProtocolNotify(AsFirmwareGuid(protocol), watch->event, &watch->registration);
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
