#include "smbios/firmware_id.h"

#include "module/last_error.h"
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

TEST(OemString, ShowsItsStructureAndComparesTheLastString) {
  Station station;
  station.smbios.Add(11, 0xB00, {3}, {"first", "second", "BUILD 7  ", "fourth"}).Add(11, 0xB01, {1}, {"another"});
  station.library->parameters[u"OEM_BIOS_String"] = u"BUILD 7";
  EXPECT_EQ(
      Merged(station.Run(40)),
      (Lines{
          "Initialize -> 0 test 40",
          R"(DebugPrint 1 "\nStructure Header:\nType: 0xb   \nLen: 0x5   \nHandle: 0xb00\nCount: 0x3\nNumber of strings found:4\nOEM BIOS String: BUILD 7  ")",
          R"(GetParamString "OEM_BIOS_String" 256 -> 0 "BUILD 7")",
          R"(DebugPrint 1 "OEM String from param: BUILD 7\n")", "EndTest"}));
}

struct OemCase {
  const char* name;
  Bytes fields;
  Strings strings;
  const char* parameter;
  // Null for a pass.
  const char* found;
};

const OemCase kOemCases[] = {
    {"another build", {1}, {"BUILD 7"}, "BUILD 8", "BUILD 7"},
    {"case counts", {1}, {"BUILD 7"}, "Build 7", "BUILD 7"},
    {"the parameter is not trimmed", {1}, {"BUILD 7 "}, "BUILD 7 ", "BUILD 7"},
    {"the tenth string", {10}, Numbers(12), "OEM 10", nullptr},
    {"beyond the collected strings", {12}, Numbers(12), "OEM 12", ""},
    {"beyond the strings", {3}, Numbers(2), "", nullptr},
    {"no strings announced", {0}, Numbers(2), "", nullptr},
    {"no count", {}, {"\x01"}, "", nullptr},
};

TEST(OemString, ComparesTheStringThatTheCountNames) {
  for (const OemCase& c : kOemCases) {
    SCOPED_TRACE(c.name);
    Station station;
    station.smbios.Add(11, 1, c.fields, c.strings);
    station.library->parameters[u"OEM_BIOS_String"] = Widen(c.parameter);
    EXPECT_EQ(Errors(station.Run(40)), c.found == nullptr ? Lines{} : Lines{Mismatch(c.found, c.parameter)});
  }
}

TEST(OemString, WithoutStructureOrParameterItFails) {
  {
    Station station;
    EXPECT_EQ(Errors(station.Run(40)), Lines{R"(ReportError 3 "\nFailed to get SMBIOS System Structure.\n)"
                                             R"(No Structure Type 11, Index 0, found.\n\n")"});
  }
  Station station;
  station.smbios.Add(11, 1, {1}, {"BUILD"});
  EXPECT_EQ(Errors(station.Run(40)), Lines{R"(ReportError 1 "\nFailed to get param:OEM_BIOS_String\n")"});
  station.library->parameters[u"OEM_BIOS_String"] = std::u16string(128, u'x');
  EXPECT_EQ(Errors(station.Run(40)), Lines{R"(ReportError 1 "\nFailed to get param:OEM_BIOS_String. \n)"
                                           R"(Buffer too small, buffer size must < 128.\n")"});
  station.library->parameters[u"OEM_BIOS_String"] = std::u16string(127, u'x');
  EXPECT_EQ(Errors(station.Run(40)), Lines{Mismatch("BUILD", std::string(127, 'x'))});
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
  const struct {
    const char* name;
    SmbiosTable table;
    const char* id;
  } cases[] = {
      {"the first of two", BiosTable("first").Add(0, 2, {1, 1}, {"second"}), "first"},
      {"number 1", SmbiosTable().Add(0, 0, {2, 1}, {"A", "B"}), "A"},
      {"number 0 is the first string too", SmbiosTable().Add(0, 0, {2, 0}, {"A", "B"}), "A"},
      {"the eleventh string", SmbiosTable().Add(0, 0, {2, 11}, {"1", "2", "3", "4", "5", "6", "7", "8", "9", "A", "B"}),
       "B"},
      {"a number beyond the strings", SmbiosTable().Add(0, 0, {2, 3}, {"A", "B"}), ""},
      {"no strings", SmbiosTable().Add(0, 0, {2, 3}), ""},
      {"header only", SmbiosTable().Add(0, 0, {}, {"A"}), "A"},
      {"behind the end-of-table structure", SmbiosTable().Add(127, 1, {}).Add(0, 0, {1, 1}, {"late"}), "late"},
      {"none", SmbiosTable().Add(1, 1, {1}, {"ACME"}), "nothing"},
      {"an empty table", SmbiosTable(), "nothing"},
  };
  for (const auto& c : cases) EXPECT_EQ(FindIds(c.table).bios, c.id) << c.name;
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
  const char* name;
  std::optional<AcpiTables> tables;
  const char16_t* console;
};

constexpr const char16_t* kBadSignature = u"Failed because RSDPtr->Header.Signature->HexSignature != ACPI_RSDT_SIG\r\n";
constexpr const char16_t* kBadRsdt = u"Failed ComputeChecksum on RSDTPtr (table ptr)\r\n";

const AcpiCase kAcpiCases[] = {
    {"sound, listed as 2.0", AcpiTables{}, u""},
    {"sound, listed as 1.0", AcpiTables{.listing = AcpiTables::Listing::kAcpi10}, u""},
    {"not listed", {}, u"Failed LibGetSystemConfigurationTable()\r\n"},
    {"null", AcpiTables{.listing = AcpiTables::Listing::kNull}, u"Failed because RSDPtr == NULL\r\n"},
    {"RSDP checksum", AcpiTables{.sound_rsdp = false}, u"Failed ComputeChecksum on RSDPtr.\r\n"},
    {"RSDP checksum before the signature", AcpiTables{.signature = "XSDT", .sound_rsdp = false},
     u"Failed ComputeChecksum on RSDPtr.\r\n"},
    {"signature", AcpiTables{.signature = "XSDT"}, kBadSignature},
    {"signature before the checksum", AcpiTables{.signature = "RSDt", .sound_rsdt = false}, kBadSignature},
    {"no address", AcpiTables{.declared_address = 0}, kBadSignature},
    {"RSDT checksum", AcpiTables{.sound_rsdt = false}, kBadRsdt},
    {"a length of almost everything", AcpiTables{.declared_length = 0xFFFFFFFF}, kBadRsdt},
    {"a length of half of everything", AcpiTables{.declared_length = 0x80000000}, kBadRsdt},
    {"a length that no table has", AcpiTables{.declared_length = 0x100001}, kBadRsdt},
    {"a length without the last byte", AcpiTables{.declared_length = 39}, kBadRsdt},
    {"a length of the header", AcpiTables{.declared_length = 36}, u""},
    {"a length of less than the header", AcpiTables{.declared_length = 35}, kBadRsdt},
};

TEST(FirmwareId, SaysOnTheConsoleWhatIsWrongWithAcpi) {
  for (const AcpiCase& c : kAcpiCases) {
    SCOPED_TRACE(c.name);
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

struct IdCase {
  const char* bios;
  const char* oem_table;
  Lines errors;
};

TEST(FirmwareId, ComparesBothWithTheirParameters) {
  const std::string no_bios = R"(ReportError 1 "\r\nFailed to get param: BIOS_ID\r\n")";
  const std::string no_table = R"(ReportError 1 "\r\nFailed to get param: OEM_TABLE_ID\r\n")";
  const std::string fifty(50, 'x');
  const IdCase cases[] = {
      {"R01.00x64", "SERVER", {}},
      {"R01.00 (x64)",
       "SERVER",
       {R"(ReportError 27 "\r\nBIOS ID check failed. Expected: R01.00 (x64) Received: R01.00x64\r\n")"}},
      {"r01.00x64",
       "OTHER",
       {R"(ReportError 27 "\r\nBIOS ID check failed. Expected: r01.00x64 Received: R01.00x64\r\n")"}},
      {"R01.00x64",
       "SERVER  ",
       {R"(ReportError 27 "\r\nOEM TABLE ID check failed. Expected: SERVER   Received: SERVER\r\n")"}},
      {nullptr, nullptr, {no_bios}},
      {"wrong", nullptr, {no_table}},
      {fifty.c_str(), "SERVER", {no_bios}},
      {"R01.00x64", "0123456789", {no_table}},
  };
  for (const IdCase& c : cases) {
    Station station;
    station.smbios = BiosTable("R01.00 (x64)");
    const AcpiDevice acpi(station.machine);
    if (c.bios != nullptr) station.library->parameters[u"BIOS_ID"] = Widen(c.bios);
    if (c.oem_table != nullptr) station.library->parameters[u"OEM_TABLE_ID"] = Widen(c.oem_table);
    EXPECT_EQ(Errors(station.Run(35)), c.errors);
  }
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

TEST(FirmwareId, NoEntryPointIsTwoErrors) {
  Station station;
  station.smbios_placement.entry = Entry::kNowhere;
  EXPECT_EQ(station.Run(35), (Lines{"Initialize -> 0 test 35",
                                    R"(ReportError 2 "SMBIOS Table not found with GUID, trying memory search\n")",
                                    R"(ReportError 3 "Unable to find SMBIOS table entry point\n")", "EndTest"}));
}

TEST(FirmwareId, PublishesBothIdsWithoutComparing) {
  Station station;
  station.smbios = BiosTable("R01.00 (x64)");
  const AcpiDevice acpi(station.machine);
  station.Bind();
  EXPECT_TRUE(mfgtest::VerifyBiosId(true));
  EXPECT_EQ(Only({"SetResult", "GetParam", "ReportError"}, station.Transcript()),
            (Lines{R"(SetResultString "BIOS_ID" "R01.00x64")", R"(SetResultString "OEM_TABLE_ID" "SERVER")",
                   R"(SetResultString "display.cfg:BIOS ID" "R01.00x64")"}));
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
    EXPECT_FALSE(mfgtest::VerifyBiosId(true));
    EXPECT_EQ(Only({"SetResult", "ReportError"}, station.Transcript()), c.errors);
    EXPECT_EQ(mfgtest::LastError(), c.reason);
  }
}

}  // namespace
