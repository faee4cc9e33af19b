#include "drivers/ipmi_kcs/discovery.h"

#include <algorithm>
#include <string_view>

#include "platform/configuration_tables.h"
#include "platform/format.h"
#include "platform/memory.h"

namespace ipmi_kcs {
namespace {

// Little-endian; 0 where the bytes end before the number does.
std::uint64_t Number(std::span<const std::uint8_t> bytes, std::size_t offset, std::size_t size) {
  if (offset + size > bytes.size()) return 0;
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < size; ++i) number |= std::uint64_t{bytes[offset + i]} << (8 * i);
  return number;
}

struct EntryPointLayout {
  EFI_GUID guid;
  std::string_view anchor;
  std::size_t size;
  std::size_t table_length;
  std::size_t table_length_size;
  std::size_t table_address;
  std::size_t table_address_size;
};

constexpr EntryPointLayout kEntryPoints[] = {
    {{0xF2FD1544, 0x9794, 0x4A2C, {0x99, 0x2E, 0xE5, 0xBB, 0xCF, 0x20, 0xE3, 0x94}}, "_SM3_", 0x18, 0x0C, 4, 0x10, 8},
    {{0xEB9D2D31, 0x2D88, 0x11D3, {0x9A, 0x16, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}}, "_SM_", 0x1F, 0x16, 2, 0x18, 4},
};

constexpr std::size_t kStructureHeader = 4;
constexpr std::uint8_t kEndOfTable = 127;
constexpr std::uint8_t kIpmiDeviceInformation = 38;

// Its fields.
constexpr std::size_t kInterfaceType = 0x04;
constexpr std::size_t kBaseAddress = 0x08;
constexpr std::size_t kModifier = 0x10;

constexpr std::uint64_t kKcs = 1;
constexpr std::uint64_t kInIoSpace = 1;
constexpr std::uint64_t kLowestAddressBit = 0x10;
constexpr std::uint8_t kSpacings[] = {1, 4, 16, 0};  // the last is reserved

// The formatted area of the structure at the front, which is taken off the
// table together with its strings. Empty at the end of the table.
std::span<const std::uint8_t> TakeStructure(std::span<const std::uint8_t>& table) {
  if (table.size() < kStructureHeader || table[0] == kEndOfTable) return {};
  const std::size_t length = table[1];
  if (length < kStructureHeader || length > table.size()) return {};
  const auto structure = table.first(length);
  std::size_t end = length;
  while (end + 1 < table.size() && (table[end] != 0 || table[end + 1] != 0)) ++end;
  table = table.subspan(std::min(end + 2, table.size()));
  return structure;
}

bool ReadRegisters(std::span<const std::uint8_t> structure, Registers* registers, ErrorText& error) {
  const std::uint64_t base = Number(structure, kBaseAddress, 8);
  const std::uint64_t modifier = Number(structure, kModifier, 1);
  const Registers found{
      (base & kInIoSpace) != 0 ? AddressSpace::kIo : AddressSpace::kMemory,
      kSpacings[modifier >> 6],
      (base & ~kInIoSpace) | ((modifier & kLowestAddressBit) != 0 ? 1 : 0),
  };
  if (!IsSpacing(found.spacing) || !AreInSpace(found)) {
    FormatText(error, "the controller's address in SMBIOS makes no sense: base 0x%lx, modifier 0x%02lx.", base,
               modifier);
    return false;
  }
  *registers = found;
  return true;
}

}  // namespace

std::span<const std::uint8_t> SmbiosTable() {
  for (const EntryPointLayout& layout : kEntryPoints) {
    const void* listed = nullptr;
    if (!platform::FindConfigurationTable(layout.guid, &listed) || listed == nullptr) continue;
    const std::span entry(static_cast<const std::uint8_t*>(listed), layout.size);
    if (!std::ranges::equal(entry.first(layout.anchor.size()), layout.anchor)) continue;
    const std::uint64_t address = Number(entry, layout.table_address, layout.table_address_size);
    const std::uint64_t length = Number(entry, layout.table_length, layout.table_length_size);
    if (address != 0) return {platform::PhysicalMemory(address), length};
  }
  return {};
}

bool FindRegisters(std::span<const std::uint8_t> table, Registers* registers, ErrorText& error) {
  FormatText(error, "the firmware's SMBIOS table describes no management controller (type 38).");
  for (auto structure = TakeStructure(table); !structure.empty(); structure = TakeStructure(table)) {
    if (structure[0] != kIpmiDeviceInformation) continue;
    const std::uint64_t interface = Number(structure, kInterfaceType, 1);
    if (interface == kKcs) return ReadRegisters(structure, registers, error);
    FormatText(error, "by SMBIOS the controller's interface is of type %lu, not KCS (type 1).", interface);
  }
  return false;
}

}  // namespace ipmi_kcs
