// SPDX-License-Identifier: BSD-2-Clause-Patent
// The firmware's handles, the protocols on them, and events.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/efi.h"

namespace simulation {

class HandleDatabase {
 public:
  HandleDatabase();
  ~HandleDatabase();

  // Installs a protocol, on a new handle when `*handle` is null, and calls the
  // notify functions that wait for it.
  EFI_STATUS Install(EFI_HANDLE* handle, const EFI_GUID& protocol, void* interface);
  EFI_HANDLE Install(const EFI_GUID& protocol, void* interface);
  // A handle is gone with its last protocol.
  EFI_STATUS Uninstall(EFI_HANDLE handle, const EFI_GUID& protocol, void* interface);
  EFI_STATUS Interface(EFI_HANDLE handle, const EFI_GUID& protocol, void** interface) const;

  // The handles with a protocol, oldest first; all handles for null.
  std::vector<EFI_HANDLE> Handles(const EFI_GUID* protocol) const;
  // The next handle for a registration; null when there is no further one.
  EFI_HANDLE NextNotified(void* registration);

  EFI_STATUS CreateEvent(UINT32 type, EFI_EVENT_NOTIFY notify, void* context, EFI_EVENT* event);
  EFI_STATUS CloseEvent(EFI_EVENT event);
  EFI_STATUS Register(const EFI_GUID& protocol, EFI_EVENT event, void** registration);

  // Interface gives this status for that protocol from now on.
  void RefuseInterface(const EFI_GUID& protocol, EFI_STATUS status);

 private:
  struct Handle;
  struct Event;
  struct Registration;
  struct Refusal {
    EFI_GUID protocol;
    EFI_STATUS status;
  };

  Handle* Find(EFI_HANDLE handle) const;

  std::vector<std::unique_ptr<Handle>> handles_;
  std::vector<std::unique_ptr<Event>> events_;
  std::vector<std::unique_ptr<Registration>> registrations_;
  std::vector<Refusal> refusals_;
};

}  // namespace simulation
