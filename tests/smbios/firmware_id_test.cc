// SPDX-License-Identifier: BSD-2-Clause-Patent
#include <optional>

#include "simulation/acpi_tables.h"
#include "simulation/station.h"
#include "tests/faults_fail_tests.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::AcpiDevice;
using simulation::AcpiTables;
using simulation::SmbiosPlacement;
using simulation::SmbiosTable;
using simulation::Station;

SmbiosTable BiosTable(const std::string& version) {
  return SmbiosTable().Add(1, 1, {1}, {"ACME"}).Add(0, 0, {1, 2, 0, 0xE8, 3}, {"Makers", version, "04/01/2014"});
}

TEST(FirmwareId, KeepsFullStopsDigitsAndLettersOfATableId) {
  const std::pair<std::string, std::string> table_ids[] = {{"TEST    ", "TEST"},
                                                           {"ABCDEFGH", "ABCDEFGH"},
                                                           {"A-1 B.2\xFF", "A1B.2"},
                                                           {"        ", ""},
                                                           {{"AB\0CDEFG", 8}, "AB"}};
  for (const auto& [text, id] : table_ids) {
    Station station;
    station.smbios = BiosTable("1");
    const AcpiDevice acpi(station.machine, {.oem_table_id = text});
    EXPECT_EQ(Only({R"(DebugPrint 1 "OEMTableID)"}, station.Run(35)),
              Lines{R"(DebugPrint 1 "OEMTableID: )" + id + "\\n\""});
  }
}

// This walk goes by the table's length, not by the count of structures.
TEST(FirmwareId, TheTableEndsAtItsLength) {
  const SmbiosTable table = BiosTable("1.0");
  const struct {
    SmbiosPlacement placement;
    bool found;
  } cases[] = {
      {{.declared_count = 0}, true},    {{.declared_length = 0}, false},
      {{.declared_length = 1}, false},  {{.declared_length = 11}, false},  // the first structure and nothing behind it
      {{.declared_length = 12}, true},                                     // the BIOS structure starts inside
      {{.declared_address = 0}, false}, {{.declared_length = 0xFFFF}, true},
  };
  for (const auto& c : cases) {
    Station station;
    station.smbios = table;
    station.smbios_placement = c.placement;
    const AcpiDevice acpi(station.machine);
    const Lines lines = Only({"ReportError 26", "LogMessage"}, station.Run(35));
    EXPECT_EQ(lines, c.found ? Lines{}
                             : (Lines{R"(LogMessage "Unable to find SMBIOS table\n")",
                                      R"(ReportError 26 "Unable to find BIOS ID\n")"}))
        << c.placement.declared_length.value_or(0);
  }
}

struct AcpiCase {
  std::optional<AcpiTables> tables;
  const char16_t* console;
};

constexpr const char16_t* kBadSignature = u"Failed because RSDPtr->Header.Signature->HexSignature != ACPI_RSDT_SIG\r\n";
constexpr const char16_t* kBadRsdt = u"Failed ComputeChecksum on RSDTPtr (table ptr)\r\n";

constexpr const char16_t* kBadRsdp = u"Failed ComputeChecksum on RSDPtr.\r\n";

const AcpiCase kAcpiCases[] = {
    {AcpiTables{}, u""},
    {AcpiTables{.listing = AcpiTables::Listing::kAcpi10}, u""},
    {{}, u"Failed LibGetSystemConfigurationTable()\r\n"},
    {AcpiTables{.listing = AcpiTables::Listing::kNull}, u"Failed because RSDPtr == NULL\r\n"},
    {AcpiTables{.sound_rsdp = false}, kBadRsdp},
    {AcpiTables{.signature = "XSDT", .sound_rsdp = false}, kBadRsdp},
    {AcpiTables{.signature = "XSDT"}, kBadSignature},
    {AcpiTables{.signature = "RSDt", .sound_rsdt = false}, kBadSignature},
    {AcpiTables{.declared_address = 0}, kBadSignature},
    {AcpiTables{.sound_rsdt = false}, kBadRsdt},
    // Lengths that no table has; then one without the last byte, that of the
    // header, and less.
    {AcpiTables{.declared_length = 0xFFFFFFFF}, kBadRsdt},
    {AcpiTables{.declared_length = 0x80000000}, kBadRsdt},
    {AcpiTables{.declared_length = 0x100001}, kBadRsdt},
    {AcpiTables{.declared_length = 39}, kBadRsdt},
    {AcpiTables{.declared_length = 36}, u""},
    {AcpiTables{.declared_length = 35}, kBadRsdt},
};

TEST(FirmwareId, SaysOnTheConsoleWhatIsWrongWithAcpi) {
  for (const AcpiCase& c : kAcpiCases) {
    SCOPED_TRACE(&c - kAcpiCases);
    Station station;
    station.smbios = BiosTable("1.0");
    std::optional<AcpiDevice> acpi;
    if (c.tables) acpi.emplace(station.machine, *c.tables);
    const Lines lines = station.Run(35);
    EXPECT_EQ(station.machine.console.written, c.console);
    EXPECT_EQ(Only({"ReportError 26"}, lines),
              c.console[0] == 0 ? Lines{} : Lines{R"(ReportError 26 "Unable to find OEM Table ID\n")"});
    const bool searched_on = !c.tables || c.tables->listing == AcpiTables::Listing::kAcpi20;
    EXPECT_EQ(Only({R"(DebugPrint 1 "AcpiTableGuid)"}, lines),
              searched_on ? Lines{R"(DebugPrint 1 "AcpiTableGuid not found, finding Acpi20TableGuid...\n")"} : Lines{});
  }
}

TEST(FirmwareId, TheTableOfAcpi10Counts) {
  Station station;
  station.smbios = BiosTable("1.0");
  const AcpiDevice modern(station.machine, {.oem_table_id = "MODERN  "});
  const AcpiDevice old(station.machine, {.listing = AcpiTables::Listing::kAcpi10, .sound_rsdp = false});
  EXPECT_EQ(Errors(station.Run(35)), Lines{R"(ReportError 26 "Unable to find OEM Table ID\n")"});
}

}  // namespace
