// SPDX-License-Identifier: BSD-2-Clause-Patent
// The system event log: the structure that describes it, and its records.
#include <cstdio>

#include "fuzz/changes.h"
#include "fuzz/targets.h"
#include "simulation/text.h"

namespace fuzz {
namespace {

constexpr std::size_t kBaseAddress = 0x10 - 4;
constexpr std::size_t kRecord = 16;
constexpr std::size_t kLogData = 8;

// The expectation that lets a record pass.
std::u16string MaskOf(const simulation::RootBridge& bridge, std::uint64_t record) {
  std::string digits;
  for (std::size_t i = kRecord; i > kLogData; --i) {
    const auto found = bridge.memory.find(record + i - 1);
    std::array<char, 3> pair;
    std::snprintf(pair.data(), pair.size(), "%02x", found == bridge.memory.end() ? 0u : found->second);
    digits += pair.data();
  }
  return simulation::Widen(digits);
}

}  // namespace

void ChangeEventLog(Input& input, HostileServer& server) {
  const std::size_t expected = input.Below(51);
  const std::size_t length = input.Byte();
  const std::uint32_t base = input.Word() << 16;
  Bytes fields = input.Take(length);
  if (fields.size() >= kBaseAddress + 4) Put(fields, kBaseAddress, base, 4);
  const std::uint64_t start = fields.size() > 4 ? fields[4] : 0;

  // The first of its type is the one that counts.
  simulation::SmbiosTable table;
  table.Add(15, 0x0F00, fields);
  const simulation::SmbiosTable& others = server.station.smbios;
  table.bytes.insert(table.bytes.end(), others.bytes.begin(), others.bytes.end());
  table.count = static_cast<std::uint16_t>(table.count + others.count);
  server.station.smbios = table;
  auto& memory = server.root_bridge.memory;
  memory.clear();
  // Where the input ends, the bus has nothing.
  for (std::uint64_t i = 0; !input.Empty() && i < 0x100; ++i) memory[base + ((start + i) & 0xFF)] = input.Byte();
  for (std::size_t i = 0; i < expected; ++i) {
    std::array<char, 16> name;
    std::snprintf(name.data(), name.size(), "Event_Mask_%02zu", i);
    server.station.library->parameters[simulation::Widen(name.data())] =
        MaskOf(server.root_bridge, base + start + i * kRecord);
  }
}

void FuzzEventLog(Input input) { RunChanged(input, {37}, ChangeEventLog); }

}  // namespace fuzz
