#include "simulation/smbios_table.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <span>

namespace simulation {
namespace {

constexpr EFI_GUID kSmbiosGuid = SMBIOS_TABLE_GUID;
constexpr std::size_t kEntryPointLength = 0x1F;
constexpr std::size_t kIntermediate = 0x10;

using EntryPoint = std::array<std::uint8_t, kEntryPointLength>;

void Put(EntryPoint& entry, std::size_t offset, std::uint32_t value, std::size_t bytes) {
  for (std::size_t i = 0; i < bytes; ++i) entry[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

std::uint8_t Checksum(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint8_t>(0 - std::accumulate(bytes.begin(), bytes.end(), 0));
}

EntryPoint MakeEntryPoint(const SmbiosTable& table, const SmbiosPlacement& placement, std::uint32_t address) {
  EntryPoint entry{};
  std::memcpy(entry.data(), "_SM_", 4);
  std::memcpy(&entry[kIntermediate], "_DMI_", 5);
  Put(entry, 0x05, kEntryPointLength, 1);
  Put(entry, 0x06, 0x0802, 2);  // version 2.8
  Put(entry, 0x16, placement.declared_length.value_or(static_cast<std::uint16_t>(table.bytes.size())), 2);
  Put(entry, 0x18, placement.declared_address.value_or(address), 4);
  Put(entry, 0x1C, placement.declared_count.value_or(table.count), 2);
  Put(entry, 0x1E, 0x28, 1);
  if (!placement.sound_checksums) return entry;
  entry[0x15] = Checksum(std::span(entry).subspan(kIntermediate));
  entry[0x04] = Checksum(entry);
  return entry;
}

std::array<std::uint8_t, 0x18> MakeEntryPoint64(const SmbiosTable& table, const SmbiosPlacement& placement,
                                                std::uint64_t address) {
  std::array<std::uint8_t, 0x18> entry{'_', 'S', 'M', '3', '_', 0, 0x18, 3, 2, 0, 1};
  const auto maximum = placement.declared_maximum.value_or(static_cast<std::uint32_t>(table.bytes.size()));
  std::memcpy(&entry[0x0C], &maximum, sizeof maximum);
  std::memcpy(&entry[0x10], &address, sizeof address);
  entry[0x05] = static_cast<std::uint8_t>(Checksum(entry) + (placement.sound_checksums ? 0 : 1));
  return entry;
}

}  // namespace

SmbiosTable& SmbiosTable::Add(std::uint8_t type, std::uint16_t handle, const std::vector<std::uint8_t>& fields,
                              const std::vector<std::string>& strings) {
  const std::uint8_t header[] = {type, static_cast<std::uint8_t>(4 + fields.size()), static_cast<std::uint8_t>(handle),
                                 static_cast<std::uint8_t>(handle >> 8)};
  bytes.insert(bytes.end(), std::begin(header), std::end(header));
  bytes.insert(bytes.end(), fields.begin(), fields.end());
  for (const std::string& text : strings) bytes.insert(bytes.end(), text.c_str(), text.c_str() + text.size() + 1);
  bytes.insert(bytes.end(), strings.empty() ? 2 : 1, 0);
  ++count;
  return *this;
}

SmbiosDevice::SmbiosDevice(Machine& machine, const SmbiosTable& table, const SmbiosPlacement& placement)
    : table_memory_(Mapping::Low(std::max<std::size_t>(table.bytes.size(), 1))) {
  std::uint8_t* const start = table_memory_.Data() + table_memory_.Size() - table.bytes.size();
  std::ranges::copy(table.bytes, start);
  table_memory_.Protect();
  address_ = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(start));

  const EntryPoint entry = MakeEntryPoint(table, placement, address_);
  if (placement.entry == SmbiosPlacement::Entry::kListed) {
    std::ranges::copy(entry, entry_memory_.Data());
    entry_memory_.Protect();
    machine.AddConfigurationTable(kSmbiosGuid, entry_memory_.Data());
  } else if (placement.entry == SmbiosPlacement::Entry::kListedFor64Bits) {
    std::ranges::copy(MakeEntryPoint64(table, placement, address_), entry_memory_.Data());
    entry_memory_.Protect();
    machine.AddConfigurationTable(SMBIOS3_TABLE_GUID, entry_memory_.Data());
  } else if (placement.entry == SmbiosPlacement::Entry::kInBiosSegment) {
    std::ranges::copy(entry, machine.bios_segment.Data() + placement.segment_offset);
  }
}

}  // namespace simulation
