#include <optional>

#include "simulation/reference_server.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::Readable;
using simulation::SmbiosTable;
using simulation::Station;
using Bytes = std::vector<std::uint8_t>;
using Strings = std::vector<std::string>;

struct Field {
  unsigned test;
  const char* key;
  const char* label;
  const char* name;  // in messages
};

struct Kind {
  std::uint8_t type;
  const char* prefix;
  const char* absent;  // the message for a missing structure
  std::array<Field, 4> fields;
};

const Kind kSystem = {1,
                      "SYSTEM ",
                      R"(DisplayPrint "\nFailed to get SMBIOS System Structure.\n)"
                      R"(No Structure Type 1, Index 0, found.\n")",
                      {{{1, "System_Manufacturer", "System manufacturer", "Manufacturer"},
                        {2, "System_Product", "System product", "Product Code"},
                        {3, "System_Part_Number", "System part number", "Version"},
                        {4, "System_Serial_Number", "System serial number", "Serial Number"}}}};
const Kind kBoard = {2,
                     "BASE BOARD ",
                     R"(DisplayPrint "\nFailed to get SMBIOS BaseBoard Structure - Type2.\n)"
                     R"(No Structure Type 2, Index 0, found.\n\n")",
                     {{{5, "Board_Manufacturer", "Board manufacturer", "Manufacturer"},
                       {6, "Board_Product", "Board product", "Product Code"},
                       {7, "Board_Part_Number", "Board part number", "Version"},
                       {8, "Board_Serial_Number", "Board serial number", "Serial Number"}}}};
const Kind kChassis = {3,
                       "CHASSIS ",
                       R"(DisplayPrint "\nFailed to get SMBIOS Chassis Structure.\n)"
                       R"(No Structure Type 3, Index 0, found.\n\n")",
                       {{{9, "Chassis_Manufacturer", "Chassis manufacturer", "Manufacturer"},
                         {11, "Chassis_Part_Number", "Chassis part number", "Version"},
                         {12, "Chassis_Serial_Number", "Chassis serial number", "Serial Number"},
                         {13, "Chassis_Asset", "Chassis asset", "Asset Tag"}}}};
const Kind* const kKinds[] = {&kSystem, &kBoard, &kChassis};

// One identity structure: its strings, and which of them each field has.
struct Identity {
  const Kind& kind;
  Strings strings;
  std::array<std::uint8_t, 4> numbers;
  std::uint8_t chassis_type = 0x97;

  bool IsChassis() const { return kind.type == 3; }
  bool HasField(std::size_t field) const { return numbers[field] != 0; }
  void AddTo(SmbiosTable& table) const {
    Bytes fields(numbers.begin(), numbers.end());
    if (IsChassis()) fields.insert(fields.begin() + 1, chassis_type);
    table.Add(kind.type, 0x100, fields, strings);
  }
  // As it is published: only the first ten strings, without trailing blanks.
  std::string Text(std::size_t field) const {
    const unsigned number = numbers[field];
    if (number == 0 || number > strings.size() || number > 10) return "";
    std::string text = strings[number - 1].substr(0, 127);
    while (text.size() > 1 && text.back() == ' ') text.pop_back();
    return text;
  }
};

std::string Log(const std::string& text) { return "LogMessage \"" + text + "\""; }
std::string Remove(unsigned test) { return "RemoveSubtest " + std::to_string(test); }

// The fields that count as programmed: all that are set once there are four
// strings, else as many as there are strings, the first ones. Nothing is
// decided when fewer are set.
std::optional<std::vector<bool>> Programmed(const Identity& identity) {
  std::vector<bool> programmed(4);
  std::size_t left = std::min<std::size_t>(identity.strings.size(), 4);
  const bool complete = left == 4;
  for (std::size_t i = 0; i < 4; ++i) {
    if (!complete && (left == 0 || !identity.HasField(i))) continue;
    programmed[i] = true;
    --left;
  }
  if (left > 0) return {};
  return programmed;
}

std::string MissingMessage(const Identity& identity, const std::vector<bool>& programmed) {
  const std::size_t strings = identity.strings.size();
  if (strings == 0) return Log("SMBIOS Table TYPE 0" + std::to_string(identity.kind.type) + R"( is not programmed.\n)");
  if (strings == 1 && identity.IsChassis()) {
    return Log(R"(CHASSIS Version, Serial Number & Asset Tag are not programmed.\n)");
  }
  Strings names;
  for (std::size_t i = 0; i < 4; ++i) {
    if (!programmed[i]) names.push_back(identity.kind.fields[i].name);
  }
  std::string text = identity.kind.prefix + names[0];
  for (std::size_t i = 1; i < names.size(); ++i) text += (i + 1 == names.size() ? " & " : ", ") + names[i];
  return Log(text + (names.size() == 1 ? " is" : " are") + R"( not programmed.\n)");
}

// Two labels are spelt otherwise in the branch that lacks the last of four.
std::string Label(const Identity& identity, std::size_t field) {
  const bool lacks_last = identity.strings.size() == 3 && identity.HasField(0) && identity.HasField(1) && field == 2;
  if (lacks_last && identity.kind.type == 2) return "board part number";
  if (lacks_last && identity.IsChassis()) return "Chassis serail number";
  return identity.kind.fields[field].label;
}

bool IsValidType(std::uint8_t type) { return (type >= 1 && type <= 23) || (type >= 129 && type <= 151); }

Lines TypeLines(std::uint8_t type) {
  if (!IsValidType(type)) return {Remove(10)};
  const std::string number = std::to_string(type);
  return {R"(SetResultNumber "Chassis_Type" )" + number, R"(SetResultNumber "display.cfg:Chassis type" )" + number};
}

Lines DecisionLines(const Identity& identity) {
  const auto programmed = Programmed(identity);
  if (!programmed) return {};
  Lines lines;
  if (identity.strings.size() < 4) lines.push_back(MissingMessage(identity, *programmed));
  for (std::size_t i = 0; i < 4; ++i) {
    const Field& field = identity.kind.fields[i];
    if (!(*programmed)[i]) {
      lines.push_back(Remove(field.test));
    } else if (identity.HasField(i)) {
      const std::string text = " \"" + identity.Text(i) + "\"";
      lines.push_back(std::string(R"(SetResultString ")") + field.key + "\"" + text);
      lines.push_back(R"(SetResultString "display.cfg:)" + Label(identity, i) + "\"" + text);
    }
    if (i == 0 && identity.IsChassis()) lines = Joined({lines, TypeLines(identity.chassis_type)});
  }
  return lines;
}

Lines IndexLines(const Identity& identity) {
  const char* const form = identity.IsChassis()
                               ? R"(DebugPrint 2 "\nmfgIndex=%02xh verIndex=%02xh serIndex=%02xh assetIndex=%02xh")"
                               : R"(DebugPrint 2 "\nmfgIndex=%02xh prodIndex=%02xh verIndex=%02xh serIndex=%02xh")";
  std::array<char, 128> line;
  const auto index = [&](std::size_t i) { return static_cast<std::uint8_t>(identity.numbers[i] - 1); };
  std::snprintf(line.data(), line.size(), form, index(0), index(1), index(2), index(3));
  return {line.data(), R"(DebugPrint 2 "\nNumber of strings in Type)" + std::to_string(identity.kind.type) + ":" +
                           std::to_string(std::min<std::size_t>(identity.strings.size(), 10)) + R"(\n")"};
}

// The value lines show what was published, and untrimmed what was not.
std::string ValueText(const Identity& identity, std::size_t field) {
  return Log(R"(\n)" + std::string(identity.kind.fields[field].key) + R"(=\")" + identity.Text(field) + R"(\")" +
             (field < 3              ? ""
              : identity.IsChassis() ? R"(\n\n)"
                                     : R"(\n)"));
}

Lines StructureLines(const Identity& identity) {
  Lines lines = IndexLines(identity);
  if (identity.IsChassis() && !IsValidType(identity.chassis_type)) lines.push_back(Log(R"(Invalid Chassis Type.\n)"));
  lines = Joined({lines, DecisionLines(identity), {ValueText(identity, 0)}});
  if (identity.IsChassis()) {
    std::array<char, 64> line;
    std::snprintf(line.data(), line.size(), R"(LogMessage "\nChassis_Type= 0x%x")", identity.chassis_type);
    lines.push_back(line.data());
  }
  for (std::size_t i = 1; i < 4; ++i) lines.push_back(ValueText(identity, i));
  return lines;
}

Lines AbsentLines(const Kind& kind) {
  Lines lines = {kind.absent};
  for (unsigned test = kind.fields[0].test; test <= kind.fields[3].test; ++test) lines.push_back(Remove(test));
  return lines;
}

constexpr const char* kNoOemString =
    R"(DisplayPrint "\nFailed to get OEM String Structure.\nNo Structure Type 11, Index 0, found.\n\n")";

// What Autosense does with the three identity structures of a machine.
Lines IdentityPart(Station& station) {
  const Lines lines = station.Run(0);
  const auto begin = std::ranges::find(lines, "Delay 0") + 1;
  return Lines(begin, std::ranges::find(lines, kNoOemString));
}

// All three structures with the same strings and numbers.
void ExpectIdentity(const Strings& strings, const std::array<std::uint8_t, 4>& numbers, std::uint8_t chassis_type) {
  Station station;
  Lines expected;
  for (const Kind* kind : kKinds) {
    const Identity identity{*kind, strings, numbers, chassis_type};
    identity.AddTo(station.smbios);
    expected = Joined({expected, StructureLines(identity)});
  }
  EXPECT_EQ(IdentityPart(station), expected);
}

// Every number of strings with every combination of fields that are set.
TEST(Autosense, PublishesWhatIsProgrammedAndRemovesTheRest) {
  for (const std::size_t count : {0, 1, 2, 3, 4, 5, 10, 12}) {
    for (unsigned set = 0; set < 16; ++set) {
      SCOPED_TRACE(std::to_string(count) + " strings, fields " + std::to_string(set));
      Strings strings;
      for (std::size_t i = 1; i <= count; ++i) strings.push_back("text " + std::to_string(i));
      std::array<std::uint8_t, 4> numbers{};
      std::uint8_t number = 0;
      for (std::size_t i = 0; i < 4; ++i) numbers[i] = (set >> i & 1) != 0 ? ++number : 0;
      ExpectIdentity(strings, numbers, 0x97);
    }
  }
}

TEST(Autosense, OddStringNumbersAndChassisTypes) {
  const Strings twelve = {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12"};
  const struct {
    Strings strings;
    std::array<std::uint8_t, 4> numbers;
  } cases[] = {
      {twelve, {10, 11, 12, 255}},
      {twelve, {12, 254, 1, 0}},
      {{"only"}, {0, 0, 1, 0}},
      {{"only"}, {0, 0, 2, 0}},
      {{"A", "B"}, {2, 1, 0, 0}},
      {{"A", "B"}, {1, 1, 1, 1}},
      {{"A  ", "   ", std::string(300, 'x'), "D"}, {1, 2, 3, 4}},
      {{"A", " B"}, {0, 0, 0, 9}},
  };
  for (const auto& c : cases) ExpectIdentity(c.strings, c.numbers, 0x97);
  for (const std::uint8_t type : {0, 1, 2, 22, 23, 24, 127, 128, 129, 150, 151, 152, 255}) {
    ExpectIdentity({"A"}, {1, 0, 0, 0}, type);
  }
  // In a branch that decides nothing the type is not decided either.
  ExpectIdentity({"A", "B"}, {1, 0, 0, 0}, 0);
}

// What is not published is shown as the machine has it.
TEST(Autosense, OnlyPublishingTrims) {
  Station station;
  Identity{kSystem, {"A ", "B "}, {1, 2, 2, 0}}.AddTo(station.smbios);
  Identity{kBoard, {"A ", "B ", "C "}, {1, 2, 0, 0}}.AddTo(station.smbios);
  const Lines lines = station.Run(0);
  const auto shows = [&](const char* line) { return std::ranges::count(lines, line) == 1; };
  EXPECT_TRUE(shows(R"(LogMessage "\nSystem_Part_Number=\"B\"")"));
  EXPECT_TRUE(shows(R"(LogMessage "\nBoard_Manufacturer=\"A \"")"));
}

TEST(Autosense, APercentSignReadsNoMemory) {
  const struct {
    const char* text;
    const char* shown;
  } cases[] = {
      {"100%% sure", "100% sure"}, {"%s%s%s%s%s%s", ""},    {"a%xb%lXc%gd%ce%af", "abcdef"},
      {"%0999999d|", "|"},         {"%.-500s%.500d|", "|"}, {"50%", "50"},
  };
  for (const auto& c : cases) {
    Station station;
    const Strings strings(4, c.text);
    for (const Kind* kind : kKinds) Identity{*kind, strings, {1, 2, 3, 4}}.AddTo(station.smbios);
    station.smbios.Add(11, 0xB00, {1}, {c.text});
    std::size_t plain = 0;
    std::size_t shown = 0;
    for (const std::string& line : Only({"SetResultString"}, station.Run(0))) {
      const bool is_shown = line.find("display.cfg:") != std::string::npos;
      ++(is_shown ? shown : plain);
      EXPECT_TRUE(line.ends_with(std::string(" \"") + (is_shown ? c.shown : c.text) + "\"")) << line;
    }
    EXPECT_EQ(plain, 13u);
    EXPECT_EQ(shown, 12u);
  }
}

TEST(Autosense, TheLastOemStringIsPublished) {
  const struct {
    Bytes fields;
    Strings strings;
    std::string published;
  } cases[] = {
      {{2}, {"first", "BUILD 7 ", "third"}, "BUILD 7 "},
      {{0}, {"first"}, ""},
      {{}, {"first"}, ""},
      {{12}, Strings(12, "x"), ""},
  };
  for (const auto& c : cases) {
    Station station;
    station.smbios.Add(11, 0xB00, c.fields, c.strings);
    const Lines lines = station.Run(0);
    const auto line = std::ranges::find(lines, R"(SetResultString "OEM_BIOS_String" ")" + c.published + "\"");
    ASSERT_NE(line, lines.end());
    EXPECT_EQ(Lines(line - 2, line), (Lines{R"(DebugPrint 1 "\nNumber of strings found:)" +
                                                std::to_string(std::min<std::size_t>(c.strings.size(), 10)) + "\"",
                                            Log(R"(\nOEM BIOS String: )" + c.published + R"(\n)")}));
  }
}

TEST(Autosense, WaitsForTheBackplanes) {
  const std::pair<const char16_t*, const char*> delays[] = {
      {u"7", "Delay 7000"}, {u"0", "Delay 0"}, {u"0xFFFFFFFF", "Delay 4294966296"}, {u"7x", "Delay 7000"}};
  for (const auto& [parameter, delay] : delays) {
    Station station;
    station.library->parameters[u"HSBP_FRU_DelayTime"] = parameter;
    EXPECT_EQ(Only({"Delay"}, station.Run(0)), Lines{delay});
  }
}

// What the probes say and remove, from the first one on.
Lines ProbePart(const Lines& lines) {
  const auto begin =
      std::ranges::find_if(lines, [](const std::string& line) { return line.starts_with(R"(LogMessage "Autosense)"); });
  return Only({R"(LogMessage "Autosense():: )", "RemoveSubtest", "ReportError"}, Lines(begin, lines.end()));
}

TEST(Autosense, ABareMachineLosesEverythingButDisplays) {
  Station station;
  EXPECT_EQ(IdentityPart(station), Joined({AbsentLines(kSystem), AbsentLines(kBoard), AbsentLines(kChassis)}));
  const Lines lines = station.Run(0);
  EXPECT_EQ(Lines(lines.begin(), lines.begin() + 3),
            (Lines{"Initialize -> 0 test 0", R"(GetParamNumber "HSBP_FRU_DelayTime" -> 1)",
                   Log(R"(Reading all chassis boards FRU information\n)")}));
  EXPECT_EQ(std::ranges::count(lines, Log(R"(Reading all HSBP boards FRU information\n)")), 1);
  EXPECT_EQ(Only({"RemoveSubtest"}, lines), [] {
    Lines removed;
    for (const unsigned test : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 40, 14, 31, 33, 34, 35, 37, 38, 39}) {
      removed.push_back(Remove(test));
    }
    return removed;
  }());
  EXPECT_EQ(
      ProbePart(lines),
      (Lines{
          Log(R"(Autosense():: Guid not valid, removing subtest 14.\nFailed to get param:READ_GUID_METHOD\r\n\n)"),
          Remove(14), Log(R"(Autosense():: No Marwick product being identified, removing subtest 31.\r\n)"), Remove(31),
          Log(R"(Autosense():: Failed to get param: 1394_DEVICE_ID. 1394 controller not found, removing subtest 33.\r\n)"),
          Remove(33),
          Log(R"(Autosense():: Failed to locate IPMI protocol. Make sure IPMI.EFI is loaded.\nRemoving subtest 34.\r\n)"),
          Remove(34), Log(R"(Autosense():: BIOS ID not found, removing subtest 35.\r\n)"), Remove(35),
          Log(R"(Autosense():: SMBIOS Type 15 not found, removing subtest 37.\r\n)"), Remove(37),
          Log(R"(Autosense():: Failed to locate IPMI protocol. Make sure IPMI.EFI is loaded.\nRemoving subtest 38.\r\n)"),
          Remove(38),
          Log(R"(Autosense():: Failed to locate IPMI protocol. Make sure IPMI.EFI is loaded.\nRemoving subtest 39.\r\n)"),
          Remove(39)}));
  EXPECT_EQ(Lines(lines.end() - 2, lines.end()), (Lines{Log(R"(\n)"), "EndTest"}));
}

// A server on which everything is found, with its GUID in a variable.
const simulation::ReferenceRun kComplete = {
    0, "", {{u"MARWICK_GUID_NAME", u"MfgSystemUuid"}, {u"VERIFY_MACADDR_AGAINST", u"MACADDR_LIST"}}};

TEST(Autosense, ACompleteMachineLosesOnlyTheOtherWayOfWritingItsGuid) {
  simulation::ReferenceServer server(kComplete);
  const Lines lines = server.Run();
  EXPECT_EQ(Only({"RemoveSubtest", "ReportError"}, lines), (Lines{Remove(28), Remove(29), Remove(30)}));
  EXPECT_EQ(Only({R"(LogMessage "Autosense)"}, lines),
            (Lines{Log(R"(Autosense():: Verifying GUID from SMBIOS\r\n)"),
                   Log(R"(Autosense():: Marwick product being identified, removing subtests 28, 29 & 30.\r\n)")}));
  for (const char* line : {R"(SetResultString "BIOS_ID" "R01.00x64")", R"(SetResultString "OEM_TABLE_ID" "EXTBL1")",
                           R"(SetResultString "OEM_BIOS_String" "BUILD 7")"}) {
    EXPECT_EQ(std::ranges::count(lines, line), 1) << line;
  }
}

// Each probe by itself: without this parameter or device its test goes, and
// no other.
TEST(Autosense, EachProbeStandsForItself) {
  const std::pair<const char16_t*, unsigned> parameters[] = {
      {u"READ_GUID_METHOD", 14}, {u"MARWICK_GUID_NAME", 31}, {u"1394_DEVICE_ID", 33},
      {u"1394_GUID_NAME", 33},   {u"SYS_BD_FRU_ID", 0},
  };
  for (const auto& [missing, test] : parameters) {
    SCOPED_TRACE(Readable(missing));
    simulation::ReferenceServer server(kComplete);
    server.station.library->parameters.erase(missing);
    const Lines removed = Only({"RemoveSubtest"}, server.Run());
    Lines expected;
    for (const unsigned number : {14u, 31u, 28u, 29u, 30u, 33u, 38u, 39u}) {
      const bool is_other_way = number >= 28 && number <= 30;
      const bool is_gone = test == 0 ? number >= 38 : number == test;
      if (is_gone || (is_other_way && test != 31)) expected.push_back(Remove(number));
    }
    EXPECT_EQ(removed, expected);
  }
}

// The operator is told why the GUID does not count, not what stood in the
// last-error text before.
TEST(Autosense, QuotesTheReasonOfTheGuidsProbe) {
  const struct {
    const char16_t* method;  // of the MAC address; null when the parameter is missing
    const char* reason;
  } cases[] = {
      {nullptr, R"(Failed to get param:VERIFY_MACADDR_AGAINST\r\n)"},
      {u"MACADDR_LIST", "The GUID's OUI is none of the 1 in the list."},
      {u"MACADDR_ONBOARD", R"(\nFailed to locate SNP protocol.  Status=0xe)"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reason);
    simulation::ReferenceServer server(kComplete);
    server.networks.clear();
    auto& parameters = server.station.library->parameters;
    parameters[u"MACADDR00"] = u"0x123456";
    parameters.erase(u"VERIFY_MACADDR_AGAINST");
    if (c.method != nullptr) parameters[u"VERIFY_MACADDR_AGAINST"] = c.method;
    EXPECT_EQ(Only({R"(LogMessage "Autosense():: Guid not valid)"}, server.Run()),
              Lines{Log(std::string(R"(Autosense():: Guid not valid, removing subtest 14.\n)") + c.reason + R"(\n)")});
  }
}

// Likewise of the dates' probes, for a parameter that is missing or bad.
TEST(Autosense, QuotesTheReasonOfADatesProbe) {
  const struct {
    const char16_t* parameter;
    const char16_t* value;  // null when it is missing
    std::string test;
    std::string reason;
  } cases[] = {
      {u"MFG_DATE", nullptr, "34", "Failed to get param: MFG_DATE"},
      {u"MFG_DATE", u"2010/02/29", "34", "Invalid date format. Day cannot > 28 for Month: 2 in Year: 2010"},
      {u"SYS_BD_MFG_DATE", nullptr, "38", "Failed to get param: SYS_BD_MFG_DATE"},
      {u"SYS_BD_FRU_ID", nullptr, "38", "Failed to get param: SYS_BD_FRU_ID"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reason);
    simulation::ReferenceServer server(kComplete);
    auto& parameters = server.station.library->parameters;
    parameters.erase(c.parameter);
    if (c.value != nullptr) parameters[c.parameter] = c.value;
    const Lines lines = server.Run();
    const std::string said = Log("Autosense():: " + c.reason + R"(.\nRemoving subtest )" + c.test + R"(.\r\n)");
    EXPECT_EQ(std::ranges::count(lines, said), 1);
  }
}

TEST(Autosense, AMissingMemoryDeviceIsReportedAndRemovesItsTest) {
  Station station;
  Bytes array(0x0F - 4, 0);
  array[0x0D - 4] = 1;
  station.smbios.Add(16, 1, array);
  const Lines lines = ProbePart(station.Run(0));
  const auto report = std::ranges::find(lines, R"(ReportError 3 "\nFailed to get SMBIOS Memory Device Structure.\n)"
                                               R"(No Structure Type 17, Index 0, found.\n\n")");
  ASSERT_NE(report, lines.end());
  EXPECT_EQ(Lines(report + 1, report + 3),
            (Lines{Log(R"(Autosense():: Memory Device not found, removing subtest 36.\r\n)"), Remove(36)}));
}

}  // namespace
