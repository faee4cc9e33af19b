// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/handle_database.h"

#include <algorithm>
#include <deque>

#include "simulation/fault.h"
#include "simulation/text.h"

namespace simulation {

struct HandleDatabase::Handle {
  struct Protocol {
    EFI_GUID guid;
    void* interface;
  };
  std::vector<Protocol> protocols;

  auto FindProtocol(const EFI_GUID& guid) {
    return std::ranges::find_if(protocols, [&](const Protocol& p) { return SameGuid(p.guid, guid); });
  }
  bool Has(const EFI_GUID& guid) { return FindProtocol(guid) != protocols.end(); }
};

struct HandleDatabase::Event {
  EFI_EVENT_NOTIFY notify;
  void* context;
};

struct HandleDatabase::Registration {
  EFI_GUID protocol;
  Event* event;
  std::deque<EFI_HANDLE> news;
};

HandleDatabase::HandleDatabase() = default;
HandleDatabase::~HandleDatabase() = default;

HandleDatabase::Handle* HandleDatabase::Find(EFI_HANDLE handle) const {
  const auto found = std::ranges::find(handles_, handle, [](const auto& h) { return static_cast<void*>(h.get()); });
  return found == handles_.end() ? nullptr : found->get();
}

EFI_STATUS HandleDatabase::Install(EFI_HANDLE* handle, const EFI_GUID& protocol, void* interface) {
  if (*handle == nullptr) *handle = handles_.emplace_back(std::make_unique<Handle>()).get();
  Handle* const target = Find(*handle);
  if (target == nullptr || target->Has(protocol)) return EFI_INVALID_PARAMETER;
  target->protocols.push_back({protocol, interface});

  std::vector<Event*> signalled;
  for (const auto& registration : registrations_) {
    if (!SameGuid(registration->protocol, protocol)) continue;
    registration->news.push_back(*handle);
    signalled.push_back(registration->event);
  }
  for (Event* const event : signalled) event->notify(event, event->context);
  return EFI_SUCCESS;
}

EFI_HANDLE HandleDatabase::Install(const EFI_GUID& protocol, void* interface) {
  EFI_HANDLE handle = nullptr;
  Install(&handle, protocol, interface);
  return handle;
}

EFI_STATUS HandleDatabase::Uninstall(EFI_HANDLE handle, const EFI_GUID& protocol, void* interface) {
  Handle* const target = Find(handle);
  if (target == nullptr) return EFI_INVALID_PARAMETER;
  const auto found = target->FindProtocol(protocol);
  if (found == target->protocols.end() || found->interface != interface) return EFI_NOT_FOUND;
  target->protocols.erase(found);
  for (const auto& registration : registrations_) {
    if (SameGuid(registration->protocol, protocol)) std::erase(registration->news, handle);
  }
  if (target->protocols.empty()) std::erase_if(handles_, [&](const auto& h) { return h.get() == target; });
  return EFI_SUCCESS;
}

EFI_STATUS HandleDatabase::Interface(EFI_HANDLE handle, const EFI_GUID& protocol, void** interface) const {
  Handle* const target = Find(handle);
  if (target == nullptr) return EFI_INVALID_PARAMETER;
  const auto found = target->FindProtocol(protocol);
  if (found == target->protocols.end()) return EFI_UNSUPPORTED;
  for (const Refusal& refusal : refusals_) {
    if (SameGuid(refusal.protocol, protocol)) return refusal.status;
  }
  *interface = found->interface;
  return EFI_SUCCESS;
}

std::vector<EFI_HANDLE> HandleDatabase::Handles(const EFI_GUID* protocol) const {
  std::vector<EFI_HANDLE> found;
  for (const auto& handle : handles_) {
    if (protocol == nullptr || handle->Has(*protocol)) found.push_back(handle.get());
  }
  return found;
}

EFI_HANDLE HandleDatabase::NextNotified(void* registration) {
  const auto found =
      std::ranges::find(registrations_, registration, [](const auto& r) { return static_cast<void*>(r.get()); });
  if (found == registrations_.end()) {
    Fault("LocateHandle with a registration key that was never given");
    return nullptr;
  }
  auto& news = (*found)->news;
  if (news.empty()) return nullptr;
  const EFI_HANDLE handle = news.front();
  news.pop_front();
  return handle;
}

EFI_STATUS HandleDatabase::CreateEvent(UINT32 type, EFI_EVENT_NOTIFY notify, void* context, EFI_EVENT* event) {
  if ((type & EVT_NOTIFY_SIGNAL) == 0 || notify == nullptr) {
    Fault("CreateEvent of a kind that nothing here signals");
    return EFI_INVALID_PARAMETER;
  }
  *event = events_.emplace_back(std::make_unique<Event>(Event{notify, context})).get();
  return EFI_SUCCESS;
}

EFI_STATUS HandleDatabase::CloseEvent(EFI_EVENT event) {
  std::erase_if(registrations_, [&](const auto& registration) { return registration->event == event; });
  if (std::erase_if(events_, [&](const auto& e) { return e.get() == event; }) == 1) return EFI_SUCCESS;
  Fault("CloseEvent of an event that does not exist");
  return EFI_INVALID_PARAMETER;
}

EFI_STATUS HandleDatabase::Register(const EFI_GUID& protocol, EFI_EVENT event, void** registration) {
  const auto found = std::ranges::find(events_, event, [](const auto& e) { return static_cast<void*>(e.get()); });
  if (found == events_.end()) return EFI_INVALID_PARAMETER;
  // The handles that have the protocol already are the first news.
  const std::vector<EFI_HANDLE> present = Handles(&protocol);
  registrations_.push_back(
      std::make_unique<Registration>(Registration{protocol, found->get(), {present.begin(), present.end()}}));
  *registration = registrations_.back().get();
  return EFI_SUCCESS;
}

void HandleDatabase::RefuseInterface(const EFI_GUID& protocol, EFI_STATUS status) {
  refusals_.push_back({protocol, status});
}

}  // namespace simulation
