// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "smbios/firmware_id.h"

#include "report/last_error.h"
#include "simulation/acpi_tables.h"
#include "simulation/station.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::AcpiDevice;
using simulation::AcpiTables;
using simulation::SmbiosPlacement;
using simulation::SmbiosTable;
using simulation::Station;
using simulation::Widen;
using Entry = simulation::SmbiosPlacement::Entry;
using Bytes = std::vector<std::uint8_t>;
using Strings = std::vector<std::string>;

Strings Numbers(unsigned count) {
  Strings numbers;
  for (unsigned i = 1; i <= count; ++i) numbers.push_back("OEM " + std::to_string(i));
  return numbers;
}

std::string Mismatch(const std::string& found, const std::string& parameter) {
  return R"(ReportError 4 "\nOEM_BIOS_String mismatched. \nExp: \")" + found + R"(\"\nRec: \")" + parameter +
         R"(\"\n")";
}

struct OemCase {
  Bytes fields;
  Strings strings;
  const char* parameter;
  // Null for a pass.
  const char* found;
};

const OemCase kOemCases[] = {
    {{3}, {"first", "second", "BUILD 7  ", "fourth"}, "BUILD 7", nullptr},
    {{1}, {"BUILD 7"}, "Build 7", "BUILD 7"},
    // The parameter is not trimmed.
    {{1}, {"BUILD 7 "}, "BUILD 7 ", "BUILD 7"},
    {{10}, Numbers(12), "OEM 10", nullptr},
    {{12}, Numbers(12), "OEM 12", ""},
    {{3}, Numbers(2), "", nullptr},
    {{0}, Numbers(2), "", nullptr},
    {{}, {"\x01"}, "", nullptr},
};

TEST(OemString, ComparesTheStringThatTheCountNames) {
  for (const OemCase& c : kOemCases) {
    SCOPED_TRACE(&c - kOemCases);
    Station station;
    station.smbios.Add(11, 1, c.fields, c.strings).Add(11, 0xB01, {1}, {"another"});
    station.library->parameters[u"OEM_BIOS_String"] = Widen(c.parameter);
    EXPECT_EQ(Errors(station.Run(40)), c.found == nullptr ? Lines{} : Lines{Mismatch(c.found, c.parameter)});
  }
}

SmbiosTable BiosTable(const std::string& version) {
  return SmbiosTable().Add(1, 1, {1}, {"ACME"}).Add(0, 0, {1, 2, 0, 0xE8, 3}, {"Makers", version, "04/01/2014"});
}

// What is found, as a line of the transcript.
struct FoundIds {
  std::string bios;
  std::string oem_table;
};

FoundIds FindIds(const SmbiosTable& table, const AcpiTables& tables = {}) {
  Station station;
  station.smbios = table;
  const AcpiDevice acpi(station.machine, tables);
  const Lines lines = station.Run(35);
  const auto value = [&](const std::string& head) {
    const Lines found = Only({head}, lines);
    return found.empty() ? "nothing" : found[0].substr(head.size(), found[0].size() - head.size() - 3);
  };
  return {value(R"(DebugPrint 1 "BIOSID: )"), value(R"(DebugPrint 1 "OEMTableID: )")};
}

TEST(FirmwareId, KeepsFullStopsDigitsAndLetters) {
  const std::pair<const char*, const char*> versions[] = {
      {"X100.10B.01.00.0012", "X100.10B.01.00.0012"},
      {"R01.00 (x64)", "R01.00x64"},
      {" a-z_A/Z@[`{0:9 ", "azAZ09"},
      {"caf\xE9", "caf"},
      {"!", ""},
  };
  for (const auto& [version, id] : versions) EXPECT_EQ(FindIds(BiosTable(version)).bios, id);
  EXPECT_EQ(FindIds(BiosTable(std::string(127, 'x'))).bios, std::string(99, 'x'));
  const std::pair<const char*, const char*> table_ids[] = {
      {"TEST    ", "TEST"}, {"ABCDEFGH", "ABCDEFGH"}, {"A-1 B.2\xFF", "A1B.2"}, {"        ", ""}};
  for (const auto& [text, id] : table_ids) {
    EXPECT_EQ(FindIds(BiosTable("1"), {.oem_table_id = text}).oem_table, id);
  }
  EXPECT_EQ(FindIds(BiosTable("1"), {.oem_table_id = std::string("AB\0CDEFG", 8)}).oem_table, "AB");
}

TEST(FirmwareId, CountsTheStringsOfTheFirstBiosStructure) {
  const std::pair<SmbiosTable, const char*> cases[] = {
      {BiosTable("first").Add(0, 2, {1, 1}, {"second"}), "first"},
      {SmbiosTable().Add(0, 0, {2, 1}, {"A", "B"}), "A"},
      // Number 0 is the first string too.
      {SmbiosTable().Add(0, 0, {2, 0}, {"A", "B"}), "A"},
      {SmbiosTable().Add(0, 0, {2, 11}, {"1", "2", "3", "4", "5", "6", "7", "8", "9", "A", "B"}), "B"},
      {SmbiosTable().Add(0, 0, {2, 3}, {"A", "B"}), ""},
      {SmbiosTable().Add(0, 0, {2, 3}), ""},
      {SmbiosTable().Add(0, 0, {}, {"A"}), "A"},
      // Behind the end-of-table structure.
      {SmbiosTable().Add(127, 1, {}).Add(0, 0, {1, 1}, {"late"}), "late"},
      {SmbiosTable().Add(1, 1, {1}, {"ACME"}), "nothing"},
      {SmbiosTable(), "nothing"},
  };
  for (const auto& [table, id] : cases) EXPECT_EQ(FindIds(table).bios, id);
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

TEST(FirmwareId, ReadsTheParametersWithTheirSizesAfterBothIds) {
  Station station;
  station.smbios = BiosTable("1.0");
  station.smbios_placement = {.entry = Entry::kInBiosSegment, .segment_offset = 0xABC};
  const AcpiDevice acpi(station.machine, {.listing = AcpiTables::Listing::kAcpi10});
  station.library->parameters = {{u"BIOS_ID", u"1.0"}, {u"OEM_TABLE_ID", u"SERVER"}};
  EXPECT_EQ(
      station.Run(35),
      (Lines{"Initialize -> 0 test 35", R"(ReportError 2 "SMBIOS Table not found with GUID, trying memory search\n")",
             R"(DebugPrint 1 "SMBIOS Table is at address: 0xf0abc\n")", R"(DebugPrint 1 "BIOSID: 1.0\n")",
             R"(DebugPrint 1 "OEMTableID: SERVER\n")", R"(GetParamString "BIOS_ID" 100 -> 0 "1.0")",
             R"(GetParamString "OEM_TABLE_ID" 20 -> 0 "SERVER")", "EndTest"}));
}

TEST(FirmwareId, PublishesNothingWhenOneIsMissing) {
  const struct {
    SmbiosTable table;
    Entry entry;
    std::u16string reason;
    Lines errors;
  } cases[] = {
      {{}, Entry::kListed, u"Unable to find BIOS ID\n", {}},
      {BiosTable("1.0"), Entry::kListed, u"Unable to find OEM Table ID\n", {}},  // without ACPI
      {BiosTable("1.0"),
       Entry::kNowhere,
       u"Unable to find SMBIOS table entry point\n",
       {R"(ReportError 2 "SMBIOS Table not found with GUID, trying memory search\n")"}},
  };
  for (const auto& c : cases) {
    Station station;
    station.smbios = c.table;
    station.smbios_placement.entry = c.entry;
    station.Bind();
    EXPECT_FALSE(mfgtest::VerifyBiosId(mfgtest::Mode::kProbe));
    EXPECT_EQ(Only({"SetResult", "ReportError"}, station.Transcript()), c.errors);
    EXPECT_EQ(mfgtest::LastError(), c.reason);
  }
}

}  // namespace
