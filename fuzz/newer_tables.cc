// SPDX-License-Identifier: BSD-2-Clause-Patent
// The SMBIOS table behind a 64-bit entry point and the XSDT, as smbios_entry.efi
// bridges them, and the module's runs on what it made of them.
#include "fuzz/driver.h"
#include "fuzz/targets.h"
#include "fuzz/whole_run.h"
#include "platform/byte_fields.h"

namespace fuzz {
namespace {

using simulation::Fault;

constexpr EFI_GUID kNewerAcpiGuid = ACPI_20_TABLE_GUID;
constexpr EFI_GUID kSmbios3Guid = SMBIOS3_TABLE_GUID;

constexpr std::size_t kEntryPoint64Length = 0x18;
constexpr std::size_t kRootHeader = 36;
// The longest table that is summed up.
constexpr std::size_t kZerosBehind = 0x100000;

enum NewerWay : std::uint8_t {
  kFalseSmbiosSum = 1,
  kFalseMaximum = 2,  // memory goes on behind the table, with zeros
  kManyCopies = 4,    // the table over and over
  kFalsePointerSum = 8,
  kFalseXsdtSum = 16,
  kFalseXsdtLength = 32,
};

Bytes MakeEntryPoint(std::uint8_t way, std::uint32_t address, std::uint32_t maximum) {
  Bytes entry(kEntryPoint64Length);
  std::copy_n("_SM3_", 5, entry.begin());
  std::copy_n("\x18\x03\x02", 3, entry.begin() + 6);
  Put(entry, 0x0C, maximum, 4);
  Put(entry, 0x10, address, 8);
  platform::PutChecksum(entry, 5);
  entry[5] ^= way & kFalseSmbiosSum;
  return entry;
}

Bytes MakeXsdt(std::uint8_t way, const Bytes& content, std::uint32_t length) {
  Bytes xsdt(std::max(kRootHeader, content.size()));
  std::ranges::copy(content, xsdt.begin());
  std::copy_n("XSDT", 4, xsdt.begin());
  Put(xsdt, 4, (way & kFalseXsdtLength) != 0 ? length : xsdt.size(), 4);
  if ((way & kFalseXsdtSum) == 0) platform::PutChecksum(xsdt, 9);
  return xsdt;
}

Bytes MakeRsdp(std::uint8_t way, std::uint32_t xsdt) {
  Bytes rsdp(kRootHeader);
  std::copy_n("RSD PTR ", 8, rsdp.begin());
  rsdp[15] = 2;
  Put(rsdp, 20, rsdp.size(), 4);
  Put(rsdp, 24, xsdt, 8);
  platform::PutChecksum(std::span(rsdp).first(20), 8);
  platform::PutChecksum(rsdp, 32);
  rsdp[8] ^= way & kFalsePointerSum;
  return rsdp;
}

// What an image holds while it is loaded, and no longer.
void Unload(simulation::Machine& machine, Driver& driver, std::size_t blocks, UINTN tables) {
  machine.has_failed_check = false;  // the run's
  driver.Unload();
  if (!machine.memory.Pages().empty() || machine.memory.Outstanding() > blocks) Fault("the driver left memory");
  if (machine.system_table.NumberOfTableEntries != tables) Fault("the driver left a table");
}

}  // namespace

void FuzzNewerTables(Input input) {
  constexpr std::uint32_t kTests[] = {0, 1, 4, 8, 10, 13, 14, 20, 22, 24, 35, 36, 37, 40};
  ReferenceServer server(ChooseRun(input, kTests));
  simulation::Machine& machine = server.station.machine;
  const std::uint8_t way = input.Byte();
  const std::uint32_t number = input.Word() | input.Word() << 16;

  const Placed xsdt(MakeXsdt(way, input.Take(input.Byte()), number), (way & kFalseXsdtLength) != 0 ? kZerosBehind : 0);
  const Placed rsdp(MakeRsdp(way, xsdt.Address()));
  machine.InstallConfigurationTable(kNewerAcpiGuid, rsdp.Data());

  const std::size_t copies = (way & kManyCopies) != 0 ? 64 : 1;
  Bytes one = server.station.smbios.bytes;
  // The end-of-table structure would be the end of all copies.
  if (copies > 1) one.resize(one.size() - 6);
  Edit(input, one);
  Bytes content;
  for (std::size_t i = 0; i < copies; ++i) content.insert(content.end(), one.begin(), one.end());
  const bool lies = (way & kFalseMaximum) != 0;
  const Placed table(content, lies ? kZerosBehind : 0);
  const Placed entry(MakeEntryPoint(way, table.Address(), static_cast<std::uint32_t>(lies ? number : content.size())));
  machine.AddConfigurationTable(kSmbios3Guid, entry.Data());
  server.station.smbios_device.emplace(
      machine, simulation::SmbiosTable(),
      simulation::SmbiosPlacement{.entry = simulation::SmbiosPlacement::Entry::kNowhere});

  const std::size_t blocks = machine.memory.Outstanding();
  const UINTN tables = machine.system_table.NumberOfTableEntries;
  Driver driver(machine, smbios_entry_efi_main);
  machine.writes.clear();
  server.station.library->answers.assign(600, u"");
  RunAndJudge(server);
  // The list of root bridges is the module's, and so may be a GUID's buffer.
  Unload(machine, driver, blocks + 1 + server.station.kept_blocks, tables);
}

}  // namespace fuzz
