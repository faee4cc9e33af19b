// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/smbios_table.h"

#include <algorithm>
#include <string_view>

#include "platform/byte_fields.h"
#include "platform/configuration_tables.h"
#include "platform/memory.h"

namespace platform {
namespace {

struct Layout {
  EFI_GUID guid;
  std::string_view anchor;
  std::size_t bytes;
  std::size_t length;
  std::size_t version;  // major, then minor
  std::size_t table_length;
  std::size_t table_length_size;
  std::size_t table_address;
  std::size_t table_address_size;
};
constexpr Layout kLayouts[] = {
    {kSmbiosEntryPoint64Guid, "_SM3_", 0x18, 0x06, 0x07, 0x0C, 4, 0x10, 8},
    {kSmbiosEntryPoint32Guid, "_SM_", 0x1F, 0x05, 0x06, 0x16, 2, 0x18, 4},
};

constexpr std::size_t kStructureHeader = 4;
// No entry point tells of a larger structure; strings that go on and on are
// none, and not to be followed through all of memory.
constexpr std::size_t kLargestStructure = 0xFFFF;

bool ReadEntryPoint(const Layout& layout, const std::uint8_t* listed, SmbiosEntryPoint* entry) {
  const std::span bytes(listed, layout.bytes);
  if (!std::ranges::equal(bytes.first(layout.anchor.size()), layout.anchor)) return false;
  const std::uint64_t address = NumberAt(bytes, layout.table_address, layout.table_address_size);
  const std::uint64_t length = NumberAt(bytes, layout.table_length, layout.table_length_size);
  if (address == 0) return false;
  *entry = {
      .major_version = bytes[layout.version],
      .minor_version = bytes[layout.version + 1],
      .is_sound = bytes[layout.length] == layout.bytes && ByteSum(bytes) == 0,
      .table = {PhysicalMemory(address), std::min(length, UINT64_MAX - address)},
  };
  return true;
}

}  // namespace

bool FindSmbiosEntryPoint(const EFI_GUID& guid, SmbiosEntryPoint* entry) {
  const void* listed = nullptr;
  if (!FindConfigurationTable(guid, &listed) || listed == nullptr) return false;
  return std::ranges::any_of(kLayouts, [&](const Layout& layout) {
    return SameGuid(layout.guid, guid) && ReadEntryPoint(layout, static_cast<const std::uint8_t*>(listed), entry);
  });
}

SmbiosStructure FirstSmbiosStructure(std::span<const std::uint8_t> table) {
  if (table.size() < kStructureHeader) return {};
  const std::size_t length = table[1];
  if (length < kStructureHeader || length > table.size()) return {};
  const auto reach = table.first(std::min(table.size(), kLargestStructure));
  std::size_t end = length;
  while (end + 1 < reach.size() && (reach[end] != 0 || reach[end + 1] != 0)) ++end;
  const bool is_sound = end + 2 <= reach.size();
  return {table.first(length), is_sound ? reach.first(end + 2) : reach, is_sound};
}

}  // namespace platform
