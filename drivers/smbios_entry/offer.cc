#include "drivers/smbios_entry/offer.h"

#include "platform/configuration_tables.h"
#include "platform/memory.h"

namespace smbios_entry {
namespace {

void ReleasePages(Offer& offer) {
  platform::ReleaseLowPages(offer.pages.data(), offer.pages.size());
  offer.pages = {};
}

const void* Listed(const EFI_GUID& guid) {
  const void* table = nullptr;
  return platform::FindConfigurationTable(guid, &table) ? table : nullptr;
}

}  // namespace

EFI_STATUS TakePages(Offer& offer, std::size_t bytes, EFI_MEMORY_TYPE kind) {
  auto* const pages = static_cast<std::uint8_t*>(platform::TakeLowPages(bytes, kind));
  if (pages == nullptr) return EFI_OUT_OF_RESOURCES;
  offer.pages = {pages, bytes};
  return EFI_SUCCESS;
}

EFI_STATUS List(Offer& offer, const EFI_GUID& guid) {
  offer.guid = guid;
  offer.earlier = Listed(guid);
  EFI_STATUS status = platform::PutOnRecord(offer.bridge, offer.record.data());
  if (!EFI_ERROR(status)) status = platform::ListConfigurationTable(guid, offer.pages.data());
  if (!EFI_ERROR(status)) return status;
  platform::TakeOffRecord(offer.bridge);
  ReleasePages(offer);
  return status;
}

// Firmware that made a table of its own meanwhile keeps it.
EFI_STATUS Withdraw(Offer& offer) {
  if (offer.pages.empty()) return EFI_SUCCESS;
  EFI_STATUS status = EFI_SUCCESS;
  if (Listed(offer.guid) == offer.pages.data()) status = platform::ListConfigurationTable(offer.guid, offer.earlier);
  if (!EFI_ERROR(status)) status = platform::TakeOffRecord(offer.bridge);
  if (!EFI_ERROR(status)) ReleasePages(offer);
  return status;
}

}  // namespace smbios_entry
