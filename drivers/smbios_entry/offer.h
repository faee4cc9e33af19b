// A table of ours in the list of configuration tables, in memory below 4 GiB
// that an operating system started later leaves alone, too.
#pragma once

#include <array>
#include <span>

#include "platform/bridges.h"

namespace smbios_entry {

struct Offer {
  std::span<std::uint8_t> pages;  // empty: nothing is offered
  EFI_GUID guid;
  const void* earlier;  // what the firmware lists under the GUID itself
  platform::Bridge bridge;
  std::array<char16_t, 128> record;
};

// Takes zeroed pages of that kind. EFI_OUT_OF_RESOURCES without them.
EFI_STATUS TakePages(Offer& offer, std::size_t bytes, EFI_MEMORY_TYPE kind);

// Lists what stands at the front of the pages, and puts the bridge on record
// with the offer's text. On failure the pages are given back.
EFI_STATUS List(Offer& offer, const EFI_GUID& guid);

// Puts back what was there before. An offer that somebody still needs to take
// back stays as far as it is left, and this may be tried again.
EFI_STATUS Withdraw(Offer& offer);

}  // namespace smbios_entry
