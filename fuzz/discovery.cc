// SPDX-License-Identifier: BSD-2-Clause-Patent
// Where ipmi_kcs.efi looks for its controller: the SMBIOS table, its options and
// the memory map; and registers in memory, which the driver may write, and
// nothing beside them.
#include "fuzz/changes.h"
#include "fuzz/driver.h"
#include "fuzz/kcs.h"
#include "fuzz/targets.h"
#include "simulation/text.h"

namespace fuzz {
namespace {

using simulation::Fault;

constexpr std::size_t kPage = 0x1000;

enum DiscoveryWay : std::uint8_t {
  kInMemory = 1,        // the table says that the registers lie in memory
  kListedAsMemory = 2,  // which firmware uses for something else
  kByOptions = 4,       // the options name that address
  kByVariable = 8,      // options in a shell variable
  kNoController = 16,   // nothing behind the ports
  kMapGrows = 32,
  kReservedByte = 64,  // a byte of the page that is no device's
};

// All memory that is not the device's belongs to somebody: a driver that touches
// it ends the program or is refused.
std::vector<EFI_MEMORY_DESCRIPTOR> MapAround(std::uint64_t page, bool listed) {
  std::vector<EFI_MEMORY_DESCRIPTOR> map = {
      {EfiConventionalMemory, 0, 0, 0, page / kPage, 0},
      {EfiRuntimeServicesData, 0, page + kPage, 0, (UINT64_MAX - page) / kPage, 0}};
  if (listed) map.push_back({EfiLoaderData, 0, page, 0, 1, 0});
  return map;
}

// Into the type 38 structure, before the end-of-table structure.
void PutBaseAddress(simulation::SmbiosTable& table, std::uint64_t address, std::uint8_t modifier) {
  constexpr std::size_t kFromEnd = 6 + 2 + 0x12;
  Bytes& bytes = table.bytes;
  if (bytes.size() < kFromEnd || bytes[bytes.size() - kFromEnd] != 38) Fault("the server's table has changed");
  Put(bytes, bytes.size() - kFromEnd + 8, address, 8);
  bytes[bytes.size() - kFromEnd + 0x10] = modifier;
}

// The two registers by any spacing, and nothing else.
void CheckPage(const simulation::Mapping& page, std::size_t data, std::uint8_t fill) {
  std::size_t written = 0;
  for (std::size_t i = 0; i < page.Size(); ++i) {
    if (page.Data()[i] == fill) continue;
    if (i < data || i > data + 17) Fault("a byte beside the registers was written");
    ++written;
  }
  if (written > 2) Fault("more than two registers were written");
}

}  // namespace

void FuzzDiscovery(Input input) {
  static const ReferenceRun run{34, "discovery"};
  HostileServer server(run);
  simulation::Machine& machine = server.station.machine;
  const std::uint8_t way = input.Byte();
  const std::uint8_t modifier = input.Byte();
  const std::size_t data = input.Word() % kPage;
  const std::uint8_t fill = input.Byte();

  std::vector<std::u16string> words;
  TakeWords(input, words);
  RemoveTransport(server);
  std::optional<simulation::KcsInterface> ports;
  if ((way & kNoController) == 0) ports.emplace(0xCA2, Serving(server.controller));
  simulation::Mapping page = simulation::Mapping::Low(kPage);
  std::fill_n(page.Data(), page.Size(), fill);
  const std::uint64_t address = reinterpret_cast<std::uintptr_t>(page.Data());
  machine.memory_map = MapAround(address, (way & kListedAsMemory) != 0);
  machine.memory_map_growths = (way & kMapGrows) != 0 ? 3 : 0;
  if ((way & kInMemory) != 0) PutBaseAddress(server.station.smbios, (address + data) & ~std::uint64_t{1}, modifier);
  ChangeSmbios(input, server);

  std::u16string options;
  if ((way & kByOptions) != 0) options = u"memory=" + simulation::Widen(std::to_string(address + data)) + u" ";
  for (const std::u16string& word : words) options += word + u" ";
  const bool by_variable = (way & kByVariable) != 0;
  if (by_variable) machine.variables.Add(u"IpmiKcsOptions", simulation::TextData(options));
  const Judge judge(server);
  { const Driver driver(machine, ipmi_kcs_efi_main, by_variable ? u"" : options); }
  CheckPage(page, data & ~std::size_t{1}, fill);
  judge.CheckWrites();
}

}  // namespace fuzz
