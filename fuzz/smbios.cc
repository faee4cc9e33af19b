// SPDX-License-Identifier: BSD-2-Clause-Patent
// The SMBIOS table and its entry point.
#include "fuzz/changes.h"
#include "fuzz/targets.h"

namespace fuzz {
namespace {

using simulation::SmbiosTable;

constexpr EFI_GUID kSmbiosGuid = SMBIOS_TABLE_GUID;
constexpr std::size_t kStructureHeader = 4;
constexpr std::size_t kEntryPointLength = 0x1F;

// With one more structure the table's length still has 16 bits.
constexpr std::size_t kMostTableBytes = 0xE000;

// A walk takes at most 255 structures of at most 257 bytes before the table's
// length bounds it, and that has 16 bits.
constexpr std::size_t kReachOfTheWalk = 0x12000;

enum SmbiosWay : std::uint8_t {
  kTruthful = 1,   // a sound table, whose end is that of memory
  kReplaced = 2,   // nothing of the reference server's table
  kInSegment = 4,  // found by the memory search, or not
  kFalseCount = 8,
  kFalseTableLength = 16,
  kNoAddress = 32,
  kManifold = 64,  // the table over and over
};

// The structures that the bytes come to when every length and every string-set
// holds what it promises.
SmbiosTable SoundTable(const Bytes& bytes, std::size_t copies) {
  SmbiosTable table;
  for (; copies > 0; --copies) {
    for (std::size_t at = 0; at + kStructureHeader <= bytes.size() && table.bytes.size() < kMostTableBytes;) {
      const std::size_t length = std::max<std::size_t>(bytes[at + 1], kStructureHeader);
      const std::size_t end = std::min(at + length, bytes.size());
      const Bytes fields(bytes.begin() + static_cast<std::ptrdiff_t>(at + kStructureHeader),
                         bytes.begin() + static_cast<std::ptrdiff_t>(end));
      std::vector<std::string> strings;
      const std::uint8_t type = bytes[at];
      const auto handle = static_cast<std::uint16_t>(bytes[at + 2] | bytes[at + 3] << 8);
      for (at = end; at < bytes.size() && bytes[at] != 0; at += strings.back().size() + 1) {
        const auto stop = std::find(bytes.begin() + static_cast<std::ptrdiff_t>(at), bytes.end(), 0);
        strings.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(at), stop);
      }
      at += strings.empty() ? 2 : 1;
      table.Add(type, handle, fields, strings);
    }
  }
  return table;
}

// The bytes as they are, with the count of the reference server's table.
SmbiosTable Repeated(const Bytes& bytes, std::size_t copies, std::uint16_t count) {
  SmbiosTable table;
  table.count = count;
  for (; copies > 0 && table.bytes.size() + bytes.size() < kMostTableBytes; --copies) {
    table.bytes.insert(table.bytes.end(), bytes.begin(), bytes.end());
  }
  return table;
}

void ShowEntryPoint(simulation::Machine& machine, const Placed& entry, bool in_segment, std::size_t offset) {
  if (!in_segment) return machine.AddConfigurationTable(kSmbiosGuid, entry.Data());
  std::copy_n(entry.Data(), kEntryPointLength, machine.bios_segment.Data() + offset);
}

}  // namespace

void ChangeSmbios(Input& input, HostileServer& server) {
  const std::uint8_t way = input.Byte();
  const std::uint16_t count = input.Word();
  const std::uint16_t length = input.Word();
  const std::uint16_t place = input.Word();

  Bytes content = server.station.smbios.bytes;
  if ((way & kReplaced) != 0) content = input.Rest();
  Edit(input, content);
  const std::size_t copies = (way & kManifold) != 0 ? 64 : 1;
  const bool truthful = (way & kTruthful) != 0;
  const SmbiosTable table =
      truthful ? SoundTable(content, copies) : Repeated(content, copies, server.station.smbios.count);
  const bool sound_length = truthful || (way & kFalseTableLength) == 0;
  const Placed& memory = server.memory.emplace_back(table.bytes, truthful ? 0 : kReachOfTheWalk);

  Bytes entry(kEntryPointLength, static_cast<std::uint8_t>(place));
  std::copy_n("_SM_", 4, entry.begin());
  Put(entry, 0x16, sound_length ? table.bytes.size() : length, 2);
  Put(entry, 0x18, (way & kNoAddress) != 0 ? 0 : memory.Address(), 4);
  Put(entry, 0x1C, truthful || (way & kFalseCount) == 0 ? table.count : count, 2);
  const Placed& placed_entry = server.memory.emplace_back(entry);
  ShowEntryPoint(server.station.machine, placed_entry, (way & kInSegment) != 0, place);
  server.station.smbios_device.emplace(
      server.station.machine, SmbiosTable(),
      simulation::SmbiosPlacement{.entry = simulation::SmbiosPlacement::Entry::kNowhere});

  server.station.library->answers.assign(600, u"");
  server.station.library->answers.insert(server.station.library->answers.end(), 2, u"S");
}

void FuzzSmbios(Input input) {
  RunChanged(input, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 20, 21, 22, 23, 24, 25, 29, 35, 36, 37, 40},
             ChangeSmbios);
}

}  // namespace fuzz
