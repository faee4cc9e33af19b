// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/firmware_memory.h"

#include <algorithm>
#include <utility>

namespace simulation {
namespace {

constexpr std::uint64_t kPage = EFI_PAGE_SIZE;
constexpr std::uint64_t kEnd = std::uint64_t{1} << 32;

bool Holds(const Mapping& mapping, std::uint64_t address) {
  const auto start = reinterpret_cast<std::uintptr_t>(mapping.Data());
  return address >= start && address - start < mapping.Size();
}

}  // namespace

bool FirmwareMemory::MapPages(std::uint64_t address, std::size_t size) {
  if (address < kPage || address >= kEnd || size > kEnd - address) return false;
  std::vector<Mapping> added;
  for (std::uint64_t page = address / kPage * kPage; page < address + size; page += kPage) {
    const auto holds_page = [&](const Mapping& mapping) { return Holds(mapping, page); };
    if (holds_page(machine_.bios_segment) || std::ranges::any_of(mappings_, holds_page)) continue;
    std::optional<Mapping> mapping = Mapping::IfFree(page, kPage);
    if (!mapping) return false;
    added.push_back(std::move(*mapping));
  }
  std::ranges::move(added, std::back_inserter(mappings_));
  return true;
}

std::uint64_t FirmwareMemory::Put(std::span<const std::uint8_t> bytes, std::optional<std::uint64_t> address) {
  if (!address || !MapPages(*address, bytes.size())) {
    const Mapping& mapping = mappings_.emplace_back(Mapping::Low(std::max<std::size_t>(bytes.size(), 1)));
    address = reinterpret_cast<std::uintptr_t>(mapping.Data());
  }
  std::ranges::copy(bytes, reinterpret_cast<std::uint8_t*>(*address));
  return *address;
}

void FirmwareMemory::Protect() {
  for (Mapping& mapping : mappings_) mapping.Protect();
}

}  // namespace simulation
