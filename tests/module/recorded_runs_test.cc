// SPDX-License-Identifier: BSD-2-Clause-Patent
// What the module says, line by line, as it is kept in two files beside this
// one: of the runs that pass on the standard server, and where the runs on a
// changed one depart from them.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>

#include "module/catalogue.h"
#include "simulation/controller_file.h"
#include "simulation/text.h"
#include "tests/changes.h"
#include "tests/faults_fail_tests.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::ReferenceRun;
using simulation::ReferenceServer;
using simulation::SmbiosTable;
using Bytes = std::vector<std::uint8_t>;
using Strings = std::vector<std::string>;

void Replace(std::string& line, const std::string& text, const std::string& by) {
  for (std::size_t at = 0; (at = line.find(text, at)) != line.npos; at += by.size()) line.replace(at, text.size(), by);
}

// Runs the test and gives what is said, but for addresses of the host, and the
// sum that counts one of them.
Lines Said(ReferenceServer& server) {
  // Kept: a GUID that cannot be read keeps its buffer.
  server.station.kept_blocks = server.run.test == 0 || server.run.test == 14 ? 1 : 0;
  Lines lines = server.Run();
  const std::pair<std::uint32_t, const char*> addresses[] = {{server.flash.Address(), "(flash)"},
                                                             {server.flash.Address() + 0xFFF0, "(flash + fff0)"},
                                                             {server.station.smbios_device->Address(), "(table)"}};
  static const std::regex numbers("(SMBIOS Table is at address: |InterChecksum:)0x[0-9a-f]+");
  for (std::string& line : lines) {
    for (const auto& [address, name] : addresses) {
      std::array<char, 16> digits;
      std::snprintf(digits.data(), digits.size(), "%08x", address);
      Replace(line, digits.data(), name);
    }
    if (line.find("at address: ") != line.npos || line.find("InterChecksum") != line.npos)
      line = std::regex_replace(line, numbers, "$1(number)");
  }
  return lines;
}

std::string Section(const std::string& title, const Lines& lines) {
  std::string text = "[" + title + "]\n";
  for (const std::string& line : Merged(lines)) text += line + "\n";
  return text;
}

void ExpectRecorded(const char* name, const std::string& said) {
  const std::string kept = std::string(TESTS_FOLDER "/module/") + name;
  std::ifstream file(kept);
  if (said == std::string(std::istreambuf_iterator<char>(file), {})) return;
  std::ofstream(name) << said;
  ADD_FAILURE() << "compare with " << kept << "\nwhat was said now, in " << std::filesystem::absolute(name)
                << "\nand where it is meant, copy it there";
}

// The library was asked for everything in which the run differs.
void ExpectPass(const ReferenceRun& run, const Lines& lines, const ReferenceServer& server) {
  EXPECT_EQ(Errors(lines), Lines{});
  EXPECT_TRUE(server.station.library->answers.empty());
  for (const auto& parameter : run.parameters) {
    EXPECT_TRUE(std::ranges::any_of(server.station.library->calls, [&](const auto& call) {
      return call.key == parameter.first && call.status == kTestLibrarySuccess;
    })) << simulation::Readable(parameter.first);
  }
}

TEST(RecordedRuns, OfTheStandardServer) {
  std::string said;
  for (const ReferenceRun& run : simulation::ReferenceRuns()) {
    const std::string title = std::to_string(run.test) + ", " + run.name;
    SCOPED_TRACE(title);
    ReferenceServer server(run);
    const Lines lines = Said(server);
    ExpectPass(run, lines, server);
    said += Section(title, lines);
  }
  ExpectRecorded("reference-runs.txt", said);
}

TEST(RecordedRuns, AreOfEveryTest) {
  for (const mfgtest::CatalogueEntry& test : mfgtest::Catalogue()) {
    const auto runs = simulation::ReferenceRuns();
    EXPECT_NE(std::ranges::find(runs, test.number, &ReferenceRun::test), runs.end())
        << "ReferenceRuns() in simulation/reference_server.cc has no run of test " << test.number;
  }
}

constexpr EFI_GUID kShell = simulation::kShellVariableGuid;
constexpr EFI_GUID kMfg = {0xEC87D643, 0xEBA4, 0x4BB5, {0xA1, 0xE5, 0x3F, 0x3E, 0x36, 0xB2, 0x0D, 0xA9}};
constexpr EFI_GUID kOldShell = {0x47C7B224, 0xC42A, 0x11D2, {0x8E, 0x57, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};
constexpr EFI_GUID kStore = kManufacturingInterfaceProtocolGuid;

const Change kNoEntryPoint = Placed("no entry point", {.entry = simulation::SmbiosPlacement::Entry::kNowhere});
const Change kNoIpmi = {"no transport", [](ReferenceServer& s) { s.ipmi.reset(); }};
const Change kNoNetwork = {"no controllers", [](ReferenceServer& s) { s.networks.clear(); }};
const Change kNoVariables = {"no variables", [](ReferenceServer& s) { s.station.machine.variables.variables.clear(); }};
const Change kProtected = {"write-protected variables",
                           [](ReferenceServer& s) { s.station.machine.variables.write_status = EFI_WRITE_PROTECTED; }};
const Change kFlash = With(u"READ_GUID_METHOD", u"flash");
const Change kErased = {"erased", [](ReferenceServer& s) { s.flash.Program(0xFFF0, Bytes(16, 0xFF)); }};
const Change kUnreadStore = kFlash + Change{"a store that cannot be read", [](ReferenceServer& s) {
                                              s.guid_store.emplace(s.station.machine).read_status = EFI_DEVICE_ERROR;
                                            }};
const Change kUuid = With(u"MARWICK_GUID_NAME", u"MfgSystemUuid");
const Change kOnBoard = With(u"VERIFY_MACADDR_AGAINST", u"MACADDR_ONBOARD");
const Change kListed = With(u"VERIFY_MACADDR_AGAINST", u"MACADDR_LIST");

Strings Numbers(unsigned count) {
  Strings numbers;
  for (unsigned i = 1; i <= count; ++i) numbers.push_back(std::to_string(i));
  return numbers;
}

Change Identity(const std::string& name, const std::vector<Bytes>& fields, const Strings& strings) {
  SmbiosTable table;
  for (std::uint8_t i = 0; i < fields.size(); ++i) table.Add(i + 1, i, fields[i], strings);
  return WithTable(name, table);
}

Change OemStrings(const std::string& name, const Bytes& fields, const Strings& strings) {
  return WithTable(name, SmbiosTable().Add(11, 1, fields, strings).Add(11, 2, {1}, {"another"}));
}

Change Bios(const std::string& name, const Bytes& fields, const Strings& strings) {
  return WithTable(name,
                   SmbiosTable().Add(1, 1, {1}, {"ACME"}).Add(0, 0, fields, strings).Add(0, 2, {1, 1}, {"second"}));
}

Change Mask(const std::u16string& mask) { return With(u"Event_Mask_00", mask); }
Change Dated(const std::u16string& date) { return With(u"MFG_DATE", date); }

// What the first memory device says of itself, and what is expected of it.
Change Module(std::uint16_t size, std::uint16_t speed) {
  const auto words = "MB, " + std::to_string(speed) + " MHz";
  return {std::to_string(size) + words, [=](ReferenceServer& s) {
            const std::uint8_t header[] = {17, 0x1B};
            auto* const device = std::ranges::search(s.station.smbios.bytes, header).data();
            std::memcpy(device + 0x0C, &size, sizeof size);
            std::memcpy(device + 0x15, &speed, sizeof speed);
          }};
}
Change Size(const std::u16string& size) { return With(u"Memory0_Size", size); }
Change Speed(const std::u16string& speed) { return With(u"Memory0_Speed", speed); }
Change Tolerance(const std::u16string& speed) { return With(u"Memory_Speed_Tolerance", speed); }

// The logged event with other bytes: its type, and its source, type and subtype.
Change Event(unsigned type, unsigned names) {
  std::array<char, 32> name;
  std::snprintf(name.data(), name.size(), "event %02x, names %x", type, names);
  return {name.data(), [=](ReferenceServer& s) {
            s.station.library->parameters.erase(u"Event_Mask_00");
            s.root_bridge.memory[0xFED10010] = static_cast<std::uint8_t>(type);
            for (std::uint32_t i = 8; i < 11; ++i) s.root_bridge.memory[0xFED10010 + i] = 0xF0 | (names & 0xF);
          }};
}

// The lines between those at both ends that are as before.
Lines Departure(const Lines& before, const Lines& now) {
  const auto first = std::ranges::mismatch(before, now).in2;
  const auto last =
      std::mismatch(before.rbegin(), before.rend(), now.rbegin(), std::make_reverse_iterator(first)).second;
  return Lines(first, last.base());
}

struct Record {
  // Runs the first of the test's reference runs with each of the changes.
  template <class... Changes>
  void Of(std::uint32_t test, const Changes&... changes) {
    const auto runs = simulation::ReferenceRuns();
    const ReferenceRun& run = *std::ranges::find(runs, test, &ReferenceRun::test);
    const Lines before = Said(*std::make_unique<ReferenceServer>(run));
    for (const Change& change : {Change(changes)...}) {
      const std::string title = std::to_string(test) + ": " + change.name;
      SCOPED_TRACE(title);
      ReferenceServer server(run);
      change.apply(server);
      said += Section(title, Departure(before, Said(server)));
    }
  }

  std::string said;
};

// More of the management controller's file.
Change Controller(const std::string& more) {
  return {testing::PrintToString(more), [=](ReferenceServer& s) {
            s.controller = simulation::ParseController(simulation::ReferenceController() + more);
          }};
}

void RecordAutosense(Record& record) {
  record.Of(
      0, kNoIpmi + kNoNetwork + WithTable("nothing at all", {}),
      Identity("unprogrammed identity", {{0, 0}, {0, 0}, {0, 0}}, {}),
      Identity("string numbers beyond the strings", {{10, 11, 12, 255}, {1, 9, 0, 2}, {3, 24, 2, 1, 4}}, Numbers(12)),
      Identity("blanks at the end", {{1, 2, 2, 0}, {1, 2, 0, 0}, {1, 1, 3, 2, 0}}, {"A ", "B  ", "C "}),
      OemStrings("a count of 0", {0}, {"first"}), OemStrings("a count beyond ten", {12}, Numbers(12)),
      WithTable("an array without its device", SmbiosTable().Add(16, 1, {0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0})),
      kNoEntryPoint,
      Change{"no ACPI", [](ReferenceServer& s) { s.station.machine.system_table.NumberOfTableEntries = 0; }},
      Without(u"READ_GUID_METHOD"), Without(u"VERIFY_MACADDR_AGAINST"), kListed + With(u"MACADDR00", u"0x123456"),
      kOnBoard + kNoNetwork, kFlash + Without(u"FlashAddress"), kUnreadStore, kUuid,
      With(u"MARWICK_GUID_NAME", u"mfgsystemuuid"), With(u"MARWICK_GUID_NAME", u"Mfg1394Uuid"),
      Without(u"MARWICK_GUID_NAME"), With(u"1394_GUID_NAME", u"No"), Without(u"1394_GUID_NAME"),
      Without(u"1394_DEVICE_ID"), Without(u"1394_VENDOR_ID"), With(u"1394_DEVICE_ID", u"0x12"), Without(u"MFG_DATE"),
      With(u"MFG_DATE", u"2010/02/29"), Without(u"SYS_BD_MFG_DATE"), Without(u"SYS_BD_FRU_ID"), Without(u"HSBP"));
}

// What the line expects, through a variable.
Change ByVariable(const char16_t* parameter) {
  return {"by a variable", [=](ReferenceServer& s) {
            std::u16string& expected = s.station.library->parameters[parameter];
            s.station.machine.variables.Add(u"MFG", simulation::TextData(expected));
            expected = u"env=MFG";
          }};
}

Change Unreadable(const char16_t* parameter) {
  return {"unreadable", [=](ReferenceServer& s) { s.station.library->parameter_statuses[parameter] = 5; }};
}

// A system's third field, and what is expected of it.
Change PartNumber(const Bytes& fields, const Strings& strings, const std::u16string& expected) {
  return Identity(strings.empty() ? "no strings" : testing::PrintToString(strings[0]), {fields, {1, 1, 1, 1}},
                  strings) +
         With(u"System_Part_Number", expected);
}

void RecordBoardProbe(Record& record) {
  const Change panel = With(u"SYS_BD_FRU_ID", u"4");
  record.Of(0, panel, panel + Controller("[script]\n30 93 answer 00 0B"), panel + Controller("[fru 4]\nbyte 3 = 0"),
            panel + Controller("[script]\n0A 11 04 03 answer C0 after 2"),
            panel + Controller("[script]\n0A 11 04 1F silence after 2"));
}

void RecordIdentity(Record& record) {
  const std::pair<std::uint32_t, const char16_t*> fields[] = {
      {1, u"System_Manufacturer"},  {2, u"System_Product"},         {3, u"System_Part_Number"},
      {4, u"System_Serial_Number"}, {5, u"Board_Manufacturer"},     {6, u"Board_Product"},
      {7, u"Board_Part_Number"},    {8, u"Board_Serial_Number"},    {9, u"Chassis_Manufacturer"},
      {11, u"Chassis_Part_Number"}, {12, u"Chassis_Serial_Number"}, {13, u"Chassis_Asset"}};
  for (const auto& [test, parameter] : fields) {
    record.Of(test, With(parameter, u"Zen"), Without(parameter), Unreadable(parameter), ByVariable(parameter),
              With(parameter, std::u16string(test < 5 ? 32 : 50, u'x')), With(parameter, u"env=GONE"));
  }
  const Strings twelve = Numbers(12);
  record.Of(3, PartNumber({0, 0, 1}, {"PN-1  "}, u"PN-1"), PartNumber({0, 0, 1}, {"PN-1"}, u"PN-1 "),
            PartNumber({0, 0, 1}, {"PN-1 "}, u"PN-1 "), PartNumber({0, 0, 1}, {" PN-1"}, u"PN-1"),
            PartNumber({0, 0, 1}, {"PN-1\t"}, u"PN-1"), PartNumber({0, 0, 1}, {"   "}, u" "),
            PartNumber({0, 0, 1}, {"PN-1"}, u"pn-1"), PartNumber({0, 0, 1}, {"PN-12"}, u"PN-1"),
            PartNumber({0, 0, 0}, {"PN-1"}, u""), PartNumber({0, 0, 0}, {"PN-1"}, u"PN-1"),
            PartNumber({0, 0, 10}, twelve, u"10"), PartNumber({0, 0, 11}, twelve, u"11"),
            PartNumber({0, 0, 2}, {"PN-1"}, u"PN-1"), PartNumber({0, 0, 255}, {"PN-1"}, u""),
            PartNumber({1, 1}, {"PN-1"}, u""), PartNumber({1, 1}, {"\x01"}, u"PN-1"), PartNumber({}, {}, u""),
            PartNumber({0, 0, 1}, {"env"}, u"env"), PartNumber({0, 0, 1}, {"env:MFG"}, u"env:MFG"),
            PartNumber({0, 0, 1}, {"xenv=MFG"}, u"xenv=MFG"));
  record.Of(1, WithoutStructure(1), Identity("bare", {{0, 2}, {0, 0, 0, 0}, {0, 1}}, {}),
            Identity("the longest string", {{1, 0, 0, 0}}, {std::string(127, 'x')}) +
                With(u"System_Manufacturer", u"env=MFG") + WithVariable(u"MFG", std::u16string(127, u'x'), kShell));
  record.Of(5, WithoutStructure(2), Identity("bare", {{0, 2}, {0, 0, 0, 0}, {0, 1}}, {}));
  record.Of(6, With(u"Board_Product", u"env="));
  record.Of(9, WithoutStructure(3), Identity("bare", {{0, 2}, {0, 0, 0, 0}, {0, 1, 0, 0, 0}}, {}));
  record.Of(10, WithoutStructure(3), With(u"Chassis_Type", u"0x17"), With(u"Chassis_Type", u"0x101"),
            With(u"Chassis_Type", u"1"), With(u"Chassis_Type", u"rack"), Without(u"Chassis_Type"));
}

void RecordDisplays(Record& record) {
  record.Of(20, kNoEntryPoint, kNoEntryPoint + Change{"an entry point of counted bytes", [](ReferenceServer& s) {
                                                        std::uint8_t* const entry =
                                                            s.station.machine.bios_segment.Data() + 0x123;
                                                        for (std::uint8_t i = 0; i < 0x1F; ++i) entry[i] = 0xA0 + i;
                                                        std::ranges::copy(std::string_view("_SM_"), entry);
                                                      }});
  record.Of(21, WithoutStructure(1),
            Identity("a header only: its strings are no fields", {{}}, {"\x01\x01\x01\x01 hostile"}),
            Identity("shorter than its UUID", {{0, 0, 0, 0, 0xFF}}, {}));
  record.Of(22, kNoEntryPoint, WithTable("an empty table", {}),
            Placed("no address", {.declared_count = 2, .declared_address = 0}), Typing("s at once", {u"s"}),
            Typing("words that are not S", {u"Stop", u"s ", u"x", u"S"}));
  record.Of(23, WithoutStructure(2), Identity("a percent sign", {{}, {1, 3, 255, 0}}, {"100%s %n", "caf\xE9  "}));
  record.Of(24, WithoutStructure(0), Bios("no strings", {0, 0, 0, 0xE8, 0}, {}));
  record.Of(25, WithoutStructure(3), Identity("twelve strings", {{}, {}, {12, 0x97, 11, 2, 1}}, Numbers(12)));
  record.Of(
      27, kNoNetwork, NobodyGets("a controller", simulation::kSimpleNetworkGuid),
      Change{"the second has no mode table", [](ReferenceServer& s) { s.networks.back().Mode = nullptr; }},
      Change{"the second does not start", [](ReferenceServer& s) { s.networks.back().start_status = EFI_TIMEOUT; }});
}

using Mac = std::array<std::uint8_t, 6>;
constexpr Mac kMac = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};

// The UUID of the table with other bytes from that one on.
Change Guid(std::size_t first, const Bytes& bytes) {
  std::string name = "GUID with";
  for (const std::uint8_t byte : bytes) name += " " + std::to_string(byte);
  return {name, [=](ReferenceServer& s) {
            const std::uint8_t header[] = {1, 0x1B};
            std::ranges::copy(bytes, std::ranges::search(s.station.smbios.bytes, header).begin() + 8 + first);
          }};
}

// Its version, time and variant.
Change Stamp(std::uint16_t time_high_and_version, std::uint8_t clock_sequence_high) {
  return Guid(6, {static_cast<std::uint8_t>(time_high_and_version >> 8),
                  static_cast<std::uint8_t>(time_high_and_version), clock_sequence_high});
}

Change Node(const Mac& node, const char16_t* method) {
  return Guid(10, {node.begin(), node.end()}) + With(u"VERIFY_MACADDR_AGAINST", method) + Without(u"MACADDR00");
}
Change Oui(const char16_t* number, const std::u16string& oui) { return With(number, oui); }

void RecordGuids(Record& record) {
  record.Of(14, Stamp(0x11D1, 0x80), Stamp(0x11D0, 0x80), Stamp(0x1000, 0x80), Stamp(0x11E7, 0x80), Stamp(0x11E8, 0x80),
            Stamp(0x11E9, 0x80), Stamp(0x1FFF, 0x80), Stamp(0x01DF, 0x80), Stamp(0x21DF, 0x80), Stamp(0x4000, 0x00),
            Stamp(0xF1DF, 0x80), Stamp(0x11DF, 0xBF), Stamp(0x11DF, 0xC0), Stamp(0x11DF, 0x7F), Stamp(0x11DF, 0x3F));
  const Mac second = {0x00, 0x11, 0x22, 0x33, 0x44, 0x56};
  const Mac other = {0x33, 0x44, 0x55, 0x00, 0x00, 0x01};
  const char16_t* const on_board = u"MACADDR_ONBOARD";
  const char16_t* const list = u"MACADDR_LIST";
  // Any method accepts a plausible one, and only the OUI has to be plausible.
  record.Of(14, Node(kMac, u"whatever"), Node({0, 0, 1, 0, 0, 0}, u"NONE"), Node({0, 0, 0, 1, 2, 3}, u"NONE"),
            Node({0xFF, 0xFF, 0xFF, 1, 2, 3}, u"NONE"), Without(u"VERIFY_MACADDR_AGAINST"));
  record.Of(14, Node(second, u"MacAddr_OnBoard") + With(u"NIC_Index", u"1"), Node(second, on_board),
            Node(other, on_board), Node(kMac, on_board) + With(u"NIC_Index", u"2"));
  // A list ends at its first gap; the last one compared is shown.
  record.Of(14, Node(kMac, list) + Oui(u"MACADDR00", u"0x001122"),
            Node(other, u"macaddr_list") + Oui(u"MACADDR00", u"0x001122") + Oui(u"MACADDR01", u"0xFF334455"),
            Node(other, list) + Oui(u"MACADDR00", u"0x010203") + Oui(u"MACADDR02", u"0x334455"),
            Node(kMac, list) + Oui(u"MACADDR00", u"0x001123") + Oui(u"MACADDR01", u"0xA01122"), Node(kMac, list));
  // The maker's own needs no list.
  record.Of(14, Node({0x77, 0xC9, 0xA0, 0x00, 1, 2}, list), Node({0x77, 0xC9, 0xA0, 0x01, 1, 2}, list),
            Node({0x77, 0xC9, 0xA1, 0x00, 1, 2}, list), Node({0x00, 0xA0, 0xC9, 0x00, 1, 2}, list));
  record.Of(0, Stamp(0x11D0, 0x80), Stamp(0x11E8, 0x80), Stamp(0x21DF, 0x80), Stamp(0x11DF, 0xC0),
            Node(other, on_board), Node({0, 0, 0, 1, 2, 3}, u"NONE"));
  record.Of(14, Without(u"READ_GUID_METHOD"), WithoutMemoryFor(16), WithoutStructure(1),
            Identity("no UUID", {{1, 0, 0, 0}}, {"A"}), kFlash + kErased, kFlash + Without(u"FlashAddress"),
            kFlash + Without(u"GuidOffsetFlash"), kUnreadStore, kUnreadStore + NobodyGets("the store", kStore),
            kFlash + FoundNowhere("the store", kStore), kOnBoard + With(u"NIC_Index", u"1"));
  const Change given = With(u"SPECIFY_A_GUID", u"yes");
  const Change text = given + With(u"GUID_TO_WRITE", u"12345678-9abc-11df-8abc-001122334455");
  record.Of(28, kNoNetwork, given, given + With(u"GUID_TO_WRITE", u"{12345678-9abc-11df-8abc-001122334455}"),
            text + Without(u"FlashAddress"), text + Without(u"GuidOffsetInFlash"),
            text + With(u"GuidOffsetInFlash", u"0xFFF1"), text + With(u"GuidOffsetInFlash", u"0xFFFFFFFF"),
            text + WithoutMemoryFor(0x10010),
            text + Change{"no page", [](ReferenceServer& s) { s.station.machine.memory.refuses_pages = true; }},
            text + Change{"no erasing", [](ReferenceServer& s) { s.flash.erase_status = 0x8000000000000007; }},
            text + Change{"a high bit", [](ReferenceServer& s) { s.flash.erase_status = 0x100000000; }},
            text + Change{"no writing", [](ReferenceServer& s) { s.flash.write_status = 0xAB; }},
            text + Change{"no service", [](ReferenceServer& s) { s.station.machine.before_search = nullptr; }});
  record.Of(29, WithoutStructure(1), NobodyGets("the shell", kShellEnvironmentProtocolGuid),
            With(u"GUID_ENV_VARIABLE", u"SysGuid"), Change{"a shell that refuses", [](ReferenceServer& s) {
                                                             s.station.shell->command_status = EFI_OUT_OF_RESOURCES;
                                                           }});
  record.Of(30, Without(u"FlashAddress"), Without(u"GuidOffsetInFlash"));
  record.Of(31, Without(u"MARWICK_GUID_NAME"), With(u"MARWICK_GUID_NAME", u"MfgUuid"),
            With(u"MARWICK_GUID_NAME", u"MfgSystemUuid2"), With(u"MARWICK_GUID_NAME", u"Mfg1394Uuid"),
            kUuid + With(u"NIC_Index", u"7"), kUuid + kProtected, kUuid + UnreadableVariable(u"MfgSystemUuid", kMfg));
  record.Of(32, Without(u"1394_GUID_NAME"), With(u"1394_GUID_NAME", u"MfgSystemUuid"), kNoVariables,
            WithVariable(u"Mfg1394Uuid", u"0011223344556677", kShell),
            WithVariable(u"Mfg1394Uuid", std::u16string(55, u'0') + u"0011223344556677", kOldShell),
            WithoutMemoryFor(8), kProtected, UnreadableVariable(u"Mfg1394Uuid", kMfg));
  record.Of(33, Without(u"1394_GUID_NAME"), With(u"1394_GUID_NAME", u"MfgSystemUuid"),
            WithVariable(u"Mfg1394Uuid", u"0011223344556677", kShell), Without(u"1394_DEVICE_ID"),
            Without(u"1394_VENDOR_ID"), With(u"1394_DEVICE_ID", u"0") + With(u"1394_VENDOR_ID", u"0"),
            With(u"1394_DEVICE_ID", u"0"), WithVariable(u"Mfg1394Uuid", u"4455667700112233", kOldShell),
            Change{"another low half", [](ReferenceServer& s) { s.root_bridge.AddRegister(0xFEC10028, 0x44556678); }},
            Change{"no high half", [](ReferenceServer& s) { s.root_bridge.memory.erase(0xFEC10024); }},
            Change{"no low half", [](ReferenceServer& s) { s.root_bridge.memory.erase(0xFEC1002B); }});
}

void RecordFirmware(Record& record) {
  record.Of(35, kNoEntryPoint, WithTable("an empty table", {}), Without(u"BIOS_ID"),
            With(u"BIOS_ID", u"wrong") + Without(u"OEM_TABLE_ID"), With(u"BIOS_ID", std::u16string(50, u'x')),
            With(u"OEM_TABLE_ID", u"0123456789"), With(u"BIOS_ID", u"r01.00x64") + With(u"OEM_TABLE_ID", u"OTHER"),
            With(u"OEM_TABLE_ID", u"EXTBL1  "), Bios("other characters", {1, 2}, {"A", " a-z_A/Z@[`{0:9 caf\xE9"}),
            Bios("nothing but others", {2, 1}, {"!", "B"}),
            Bios("number 0 is the first string too", {2, 0}, {"A", "B"}),
            Bios("the eleventh string", {2, 11}, Numbers(11)), Bios("beyond the strings", {2, 3}, {"A", "B"}),
            Bios("no strings", {2, 3}, {}), Bios("a header only", {}, {"A"}),
            Bios("longer than its room", {1, 1}, {std::string(127, 'x')}),
            WithTable("behind the end of the table", SmbiosTable().Add(127, 1, {}).Add(0, 0, {1, 1}, {"late"})),
            Placed("in the BIOS segment", {.entry = simulation::SmbiosPlacement::Entry::kInBiosSegment}));
  record.Of(36, Without(u"Memory1_DeviceLocator"), Without(u"Memory1_BankLocator"), Without(u"Memory1_Speed"),
            Without(u"Memory1_Size"), Module(0xFFFF, 1333) + Size(u"65535"), Module(0x8010, 1333) + Size(u"16"),
            With(u"Memory0_DeviceLocator", u"DIMM_a1"), With(u"Memory0_DeviceLocator", u"DIMM_A1 "),
            With(u"Memory0_BankLocator", u"NODE 2"), With(u"Memory0_BankLocator", u"NODE 2") + Speed(u"1") + Size(u"1"),
            Speed(u"1") + Size(u"4095"), Speed(u"0x10535") + Size(u"0xFFFF1000"), Speed(u"1334"),
            Speed(u"1334") + Tolerance(u"0"), Speed(u"1323") + Tolerance(u"10"), Speed(u"1343") + Tolerance(u"10"),
            Speed(u"1322") + Tolerance(u"10"), Speed(u"1344") + Tolerance(u"10"),
            Module(4096, 0) + Speed(u"5") + Tolerance(u"10"), Module(4096, 16) + Speed(u"5") + Tolerance(u"10"),
            Module(4096, 0xFFFF) + Speed(u"0xFFF0") + Tolerance(u"0xFFFF"), Speed(u"1331") + Tolerance(u"0x10001"),
            Speed(u"1334") + Tolerance(u"ten"));
  record.Of(
      37, WithoutStructure(15), Change{"no log to read", [](ReferenceServer& s) { s.root_bridge.memory.clear(); }},
      Without(u"Event_Mask_00"), Mask(u"0x51403000201"), Mask(u"51403000200"), Mask(u"  51403000201 and more"),
      Mask(u"51403000201 0123456789 0123456789 0123456789 01"), Mask(u"1") + With(u"Event_Mask_01", u"51403000201"),
      Mask(u"1") + With(u"Event_Mask_02", u"51403000201"), Mask(u"51403000201") + With(u"Event_Mask_01", u"2"),
      Change{"letters", [](ReferenceServer& s) { s.root_bridge.memory[0xFED1001F] = 0xCD; }} +
          Mask(u"CD00051403000201"),
      // Each type of event, and the first and the last name that each byte has.
      Event(0x00, 1), Event(0x01, 0), Event(0x01, 1), Event(0x01, 5), Event(0x01, 6), Event(0x02, 0), Event(0x02, 0xF),
      Event(0x03, 2), Event(0x04, 1), Event(0x08, 3), Event(0x09, 3), Event(0x09, 4), Event(0x0A, 5), Event(0x0A, 6),
      Event(0x0B, 1), Event(0x17, 2), Event(0x18, 1), Event(0x80, 1), Event(0x81, 3), Event(0x81, 5), Event(0x82, 9),
      Event(0x83, 0xA), Event(0x83, 0xB), Event(0x84, 1), Event(0x85, 1), Event(0xFE, 1));
  record.Of(40, WithoutStructure(11), Without(u"OEM_BIOS_String"), With(u"OEM_BIOS_String", std::u16string(128, u'x')),
            With(u"OEM_BIOS_String", std::u16string(127, u'x')), With(u"OEM_BIOS_String", u"Build 7"),
            OemStrings("the third of four", {3}, {"first", "second", "BUILD 7  ", "fourth"}),
            With(u"OEM_BIOS_String", u"BUILD 7 "), OemStrings("the tenth string", {10}, Numbers(12)),
            OemStrings("beyond ten strings", {12}, Numbers(12)), OemStrings("beyond the strings", {3}, Numbers(2)),
            OemStrings("a count of 0", {0}, Numbers(2)), OemStrings("no count", {}, {"\x01"}));
}

void RecordFrus(Record& record) {
  record.Of(34, kNoIpmi, Without(u"MFG_DATE"), Dated(u"1996/01/01"), Dated(u"2009/6/15"), Dated(u"2009/06/15/31"),
            Dated(u"2008/02/29"), Dated(u""), Dated(u"1995/12/31"), Dated(u"10000/01/01"), Dated(u"june/01/01"),
            Dated(u"2009"), Dated(u"2009/"), Dated(u"2009/00/01"), Dated(u"2009/13/01"), Dated(u"2009//06/15"),
            Dated(u"2009/06"), Dated(u"2009/06/00"), Dated(u"2009/06/32"), Dated(u"2009/02/32"), Dated(u"2009/02/00"),
            Dated(u"2009/02/29"), Dated(u"2008/02/30"), Dated(u"2009/04/31"), Dated(u"2009/06/31"),
            Dated(u"2009/09/31"), Dated(u"2009/11/31"), Dated(u"9999/12/31"));
  record.Of(38, kNoIpmi, Without(u"SYS_BD_MFG_DATE"), Without(u"SYS_BD_FRU_ID"), Without(u"HSBP"));
  const auto Maker = [](const std::u16string& text) { return With(u"SYS_BOARDS_MANUFACTURER_NAME", text); };
  const auto Product = [](const std::u16string& text) { return With(u"SYS_BOARDS_PRODUCT_NAME", text); };
  const auto Serial = [](const std::u16string& text) { return With(u"SYS_BOARDS_SERIAL_NUMBER", text); };
  const auto Part = [](const std::u16string& text) { return With(u"SYS_BOARDS_PART_NUMBER", text); };
  const Change no_maker = Without(u"SYS_BOARDS_MANUFACTURER_NAME");
  const Change no_product = Without(u"SYS_BOARDS_PRODUCT_NAME");
  const Change no_serial = Without(u"SYS_BOARDS_SERIAL_NUMBER");
  const Change no_part = Without(u"SYS_BOARDS_PART_NUMBER");
  // Each is compared in its own way: the manufacturer as it stands, product and
  // serial number also through a variable, the part number only so.
  record.Of(39, Maker(u"EXAMPLE BACKPLANE"), Maker(u"env=PLANE"), Product(u"ENV=Plane") + Serial(u"env=PLANE_SERIAL"),
            Product(u"Other"), Product(u"env=SERIAL"), Serial(u"env=GONE"), Part(u"any"), Part(u"env=PLANE_PART"),
            Part(u"env=PLANE"), Part(u"env=GONE"));
  // What a board of the line has to have, and another one need not.
  const Change supply = With(u"SYS_BD_FRU_ID", u"2");
  const Change panel = With(u"SYS_BD_FRU_ID", u"4");
  record.Of(39, no_maker, no_product, no_serial, no_part, panel + no_maker,
            supply + no_maker + no_product + no_serial + no_part, supply + no_maker + no_product + no_serial,
            supply + Maker(u"Example Power Example Power Example"),
            panel + Maker(u"Example Panels") + Product(u"Front Panel") + Serial(u"FSN-0004"));
  record.Of(39, kNoIpmi, Without(u"SYS_BD_FRU_ID"), Without(u"HSBP"),
            Change{"the second table's names", [](ReferenceServer& s) { s.controller.oem_code = 11; }} +
                With(u"SYS_BD_FRU_ID", u"2"),
            Change{"a code of no table", [](ReferenceServer& s) { s.controller.oem_code = 12; }} +
                With(u"SYS_BD_FRU_ID", u"4"));
  record.Of(41, kNoIpmi);
  record.Of(42, kNoIpmi);
  record.Of(43, kNoIpmi);
}

TEST(RecordedRuns, OfAChangedServer) {
  Record record;
  RecordAutosense(record);
  RecordBoardProbe(record);
  RecordIdentity(record);
  RecordDisplays(record);
  RecordGuids(record);
  RecordFirmware(record);
  RecordFrus(record);
  ExpectRecorded("changed-runs.txt", record.said);
}

}  // namespace
