// SPDX-License-Identifier: BSD-2-Clause-Patent
// Firmware of today, bridged by our drivers: the tests of the line find on it
// what they find on firmware of their own time.
#include <set>

#include "platform/bridges.h"
#include "platform/byte_fields.h"
#include "platform/memory.h"
#include "platform/smbios_table.h"
#include "simulation/modern_shell.h"
#include "simulation/reference_server.h"
#include "simulation/text.h"
#include "smbios/entry_point.h"
#include "tests/drivers/loaded_driver.h"
#include "tests/faults_fail_tests.h"
#include "tests/transcript_lines.h"

extern "C" EFI_STATUS ipmi_kcs_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS smbios_entry_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

namespace {

using simulation::NewerFirmware;
using simulation::ReferenceRun;
using simulation::ReferenceServer;
using simulation::SmbiosTable;
using Bytes = std::vector<std::uint8_t>;

std::set<std::string> bridges_in_force;

std::set<std::string> Bridges() {
  bridges_in_force.clear();
  platform::TellBridges([](const char16_t* text) { bridges_in_force.insert(simulation::Readable(text)); });
  return bridges_in_force;
}

// Addresses differ from machine to machine, and the way to the ACPI table with
// the bridge.
Lines Comparable(Lines lines) {
  std::erase_if(lines, [](const std::string& line) {
    return std::ranges::any_of(std::array{"lash", "ddr", "AcpiTableGuid"},
                               [&](const char* word) { return line.find(word) != line.npos; });
  });
  return lines;
}

struct Kind {
  const char* name;
  NewerFirmware newer;
  simulation::ImageEntry driver;
  std::set<std::string> bridges;
};

void RunLineOn(const Kind& kind) {
  for (const ReferenceRun& run : simulation::ReferenceRuns()) {
    SCOPED_TRACE(std::to_string(run.test) + ", " + run.name);
    Lines older;
    {
      ReferenceServer server(run);
      older = server.Run();
    }
    ReferenceServer server(run, kind.newer);
    simulation::Machine& machine = server.station.machine;
    server.station.smbios_device.emplace(machine, server.station.smbios, server.station.smbios_placement);
    const std::size_t handles = machine.handles.Handles(nullptr).size();
    const std::size_t blocks = machine.memory.Outstanding();
    const UINTN tables = machine.system_table.NumberOfTableEntries;

    LoadedDriver driver(machine, kind.driver);
    ASSERT_EQ(driver.status, EFI_SUCCESS);
    EXPECT_EQ(Bridges(), kind.bridges);
    const Lines newer = server.Run();
    EXPECT_EQ(Errors(newer), Lines{});
    EXPECT_EQ(Comparable(newer) == Comparable(older), run.test != 20) << "test 20 shows the address";

    EXPECT_EQ(driver.Unload(), EFI_SUCCESS);
    EXPECT_EQ(Bridges(), std::set<std::string>{});
    EXPECT_EQ(machine.handles.Handles(nullptr).size(), handles);
    EXPECT_LE(machine.memory.Outstanding(), blocks + 2) << "the root bridges and GUID buffer of a run";
    EXPECT_TRUE(machine.memory.Pages().empty());
    EXPECT_EQ(machine.system_table.NumberOfTableEntries, tables);
  }
}

TEST(NewerFirmware, PassesTheSameLineAsTheOlder) {
  const Kind kinds[] = {
      {"SMBIOS 3", {.smbios = true}, smbios_entry_efi_main, {"SMBIOS 3.2 64-bit entry point offered as a 32-bit one"}},
      {"XSDT", {.acpi = true}, smbios_entry_efi_main, {"ACPI XSDT offered as RSDT"}},
      {"IPMI", {.ipmi = true}, ipmi_kcs_efi_main, {"IPMI transport over the firmware's IPMI protocol"}},
  };
  for (const Kind& kind : kinds) {
    SCOPED_TRACE(kind.name);
    RunLineOn(kind);
  }
}

// A machine with that SMBIOS table, for the driver alone.
struct Machine {
  explicit Machine(
      const SmbiosTable& table,
      const simulation::SmbiosPlacement& placement = {.entry = simulation::SmbiosPlacement::Entry::kListedFor64Bits})
      : smbios(machine, table, placement) {}

  bool Shows(std::u16string_view text) const { return machine.console.written.find(text) != std::u16string::npos; }

  simulation::Machine machine;
  simulation::ModernShell shell{machine};
  simulation::SmbiosDevice smbios;
};

Bytes Types(std::span<const std::uint8_t> table) {
  Bytes types;
  for (auto one = platform::FirstSmbiosStructure(table); one.is_sound; one = platform::FirstSmbiosStructure(table)) {
    types.push_back(one.Type());
    table = table.subspan(one.whole.size());
  }
  return types;
}

SmbiosTable Filler(SmbiosTable table, std::uint8_t type, std::size_t times, std::size_t string) {
  for (std::size_t i = 0; i < times; ++i) table.Add(type, 0, Bytes(4), {std::string(string, 'x')});
  return table;
}

TEST(SmbiosEntry, KeepsWhatFitsAndTellsTheRest) {
  const auto start = SmbiosTable().Add(0, 0, Bytes(20), {"Maker"});
  const auto end = [](SmbiosTable table) { return table.Add(17, 1, Bytes(9)).Add(1, 2, Bytes(23)).Add(127, 3, {}); };
  auto endless = start;
  endless.Add(1, 2, Bytes(23));
  auto short_one = endless;
  short_one.bytes.insert(short_one.bytes.end(), {17, 3, 0, 0, 0, 0});
  auto open = endless;
  open.bytes.insert(open.bytes.end(), {17, 4, 0, 0, 'x', 'y', 'z'});
  const std::string bridged = "SMBIOS 3.2 64-bit entry point offered as a 32-bit one";
  const std::string damaged = bridged + ", 0 structures left out, table damaged";
  const struct {
    SmbiosTable table;
    std::size_t structures;
    std::size_t type4;
    std::u16string shows;
    std::string record;
    std::optional<std::uint32_t> maximum{};
  } cases[] = {
      {end(start), 4, 0, u"SMBIOS 3.2: 4 structures of ", bridged},
      // The firmware tells of more room than the table takes.
      {end(start).Add(4, 0, Bytes(4)), 4, 0, u"4 structures of ", bridged},
      {end(Filler(start, 4, 251, 1)), 255, 251, u"255 structures of ", bridged},
      {end(Filler(start, 4, 252, 1)), 255, 251,
       u"\r\n1 structures do not fit a 32-bit entry point and are left out, of the types 4\r\n",
       bridged + ", 1 structures left out"},
      {end(Filler(Filler(start, 4, 3, 30'000), 9, 2, 10'000)), 6, 2,
       u"\r\n3 structures do not fit a 32-bit entry point and are left out, of the types 4, 9\r\n",
       bridged + ", 3 structures left out"},
      {endless, 2, 0, u"it breaks off at byte 60 of at most 60.", damaged},
      {short_one, 2, 0, u"it breaks off at byte 60 of at most 66.", damaged},
      {open, 2, 0, u"it breaks off at byte 60 of at most 67.", damaged},
      {end(start), 2, 0, u"it breaks off at byte 46 of at most 60.", damaged, 60},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Machine station(c.table,
                    {.entry = simulation::SmbiosPlacement::Entry::kListedFor64Bits, .declared_maximum = c.maximum});
    LoadedDriver driver(station.machine, smbios_entry_efi_main);
    ASSERT_EQ(driver.status, EFI_SUCCESS);
    EXPECT_TRUE(station.Shows(c.shows)) << simulation::Readable(station.machine.console.written);
    EXPECT_EQ(Bridges(), std::set<std::string>{c.record});

    const auto* const entry = mfgtest::ListedSmbiosEntryPoint();
    ASSERT_NE(entry, nullptr);
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(entry);
    EXPECT_EQ(platform::ByteSum({bytes, entry->length}), 0);
    EXPECT_EQ(platform::ByteSum({bytes + 0x10, 0x0F}), 0);
    EXPECT_EQ(entry->bcd_revision, 0x32);
    EXPECT_EQ(entry->structure_count, c.structures);
    const std::span copy(platform::PhysicalMemory(entry->table_address), entry->table_length);
    const Bytes types = Types(copy);
    EXPECT_EQ(types.size(), c.structures);
    EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(types, 4)), c.type4);
    for (const std::uint8_t type : {0, 1, 17, 127}) {
      if (c.maximum) break;
      EXPECT_EQ(std::ranges::count(types, type), std::ranges::count(Types(c.table.bytes), type));
    }
  }
}

TEST(SmbiosEntry, PutsBackWhatItReplaced) {
  Machine station(SmbiosTable(), {.entry = simulation::SmbiosPlacement::Entry::kNowhere});
  const simulation::AcpiDevice damaged(station.machine,
                                       {.listing = simulation::AcpiTables::Listing::kAcpi10, .sound_rsdt = false});
  const simulation::AcpiDevice newer(station.machine, {.is_xsdt = true});
  const EFI_CONFIGURATION_TABLE* const listed = station.machine.system_table.ConfigurationTable;
  const void* const earlier = listed[0].VendorTable;
  LoadedDriver driver(station.machine, smbios_entry_efi_main);
  EXPECT_EQ(driver.status, EFI_SUCCESS);
  EXPECT_TRUE(station.Shows(u"ACPI: the XSDT is offered as RSDT, with 1 of its 2 tables\r\n"));
  EXPECT_NE(listed[0].VendorTable, earlier);
  EXPECT_EQ(driver.Unload(), EFI_SUCCESS);
  EXPECT_EQ(listed[0].VendorTable, earlier);
}

// Why the driver does not stay, or what firmware does itself.
TEST(SmbiosEntry, LeavesWorkingFirmwareAlone) {
  using Entry = simulation::SmbiosPlacement::Entry;
  const auto table = SmbiosTable().Add(1, 0, Bytes(23)).Add(127, 1, {});
  using simulation::AcpiTables;
  constexpr auto kAcpi10 = AcpiTables::Listing::kAcpi10;
  const char16_t* const nothing = u"smbios_entry has nothing to do here";
  const struct {
    simulation::SmbiosPlacement placement;
    AcpiTables acpi;
    EFI_STATUS status = EFI_ALREADY_STARTED;
    const char16_t* shows;
  } cases[] = {
      {.placement = {.entry = Entry::kListed}, .acpi = {}, .shows = nothing},
      {.placement = {.entry = Entry::kNowhere}, .acpi = {.listing = kAcpi10, .sound_rsdt = false}, .shows = nothing},
      {.placement = {.entry = Entry::kNowhere}, .acpi = {.listing = kAcpi10, .is_xsdt = true}, .shows = nothing},
      {.placement = {.entry = Entry::kNowhere}, .acpi = {.sound_rsdt = false, .is_xsdt = true}, .shows = nothing},
      {{.entry = Entry::kListedFor64Bits, .sound_checksums = false},
       {},
       EFI_COMPROMISED_DATA,
       u"ERROR: smbios_entry offers no 32-bit SMBIOS entry point: the length or checksum of the 64-bit one is wrong."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Machine station(table, c.placement);
    const simulation::AcpiDevice acpi(station.machine, c.acpi);
    const UINTN listed = station.machine.system_table.NumberOfTableEntries;
    LoadedDriver driver(station.machine, smbios_entry_efi_main);
    EXPECT_EQ(driver.status, c.status);
    EXPECT_TRUE(station.Shows(c.shows)) << simulation::Readable(station.machine.console.written);
    EXPECT_EQ(station.machine.system_table.NumberOfTableEntries, listed);
    EXPECT_EQ(Bridges(), std::set<std::string>{});
  }
}

}  // namespace
