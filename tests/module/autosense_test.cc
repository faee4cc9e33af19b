// SPDX-License-Identifier: BSD-2-Clause-Patent
// What Autosense decides of an identity, for every way to program it. The rest
// stands in reference-runs.txt and changed-runs.txt.
#include <optional>

#include "simulation/station.h"
#include "tests/faults_fail_tests.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::Station;
using Bytes = std::vector<std::uint8_t>;
using Strings = std::vector<std::string>;

struct Field {
  unsigned test;
  const char* key;
  const char* name;  // in messages
};

struct Kind {
  std::uint8_t type;
  const char* prefix;
  std::array<Field, 4> fields;
};

const Kind kKinds[] = {
    {1,
     "SYSTEM ",
     {{{1, "System_Manufacturer", "Manufacturer"},
       {2, "System_Product", "Product Code"},
       {3, "System_Part_Number", "Version"},
       {4, "System_Serial_Number", "Serial Number"}}}},
    {2,
     "BASE BOARD ",
     {{{5, "Board_Manufacturer", "Manufacturer"},
       {6, "Board_Product", "Product Code"},
       {7, "Board_Part_Number", "Version"},
       {8, "Board_Serial_Number", "Serial Number"}}}},
    {3,
     "CHASSIS ",
     {{{9, "Chassis_Manufacturer", "Manufacturer"},
       {11, "Chassis_Part_Number", "Version"},
       {12, "Chassis_Serial_Number", "Serial Number"},
       {13, "Chassis_Asset", "Asset Tag"}}}},
};

// One identity structure: its strings, and which of them each field has.
struct Identity {
  const Kind& kind;
  Strings strings;
  std::array<std::uint8_t, 4> numbers;
  std::uint8_t chassis_type = 0x97;

  bool IsChassis() const { return kind.type == 3; }
  bool HasField(std::size_t field) const { return numbers[field] != 0; }
  void AddTo(simulation::SmbiosTable& table) const {
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

// The key in words. Two are spelt otherwise in the branch that lacks the last of
// four.
std::string Label(const Identity& identity, std::size_t field) {
  const bool lacks_last = identity.strings.size() == 3 && identity.HasField(0) && identity.HasField(1) && field == 2;
  if (lacks_last && identity.kind.type == 2) return "board part number";
  if (lacks_last && identity.IsChassis()) return "Chassis serail number";
  std::string label = identity.kind.fields[field].key;
  std::ranges::replace(label, '_', ' ');
  std::transform(label.begin() + 1, label.end(), label.begin() + 1, [](char c) { return std::tolower(c); });
  return label;
}

Lines TypeLines(std::uint8_t type) {
  if (type == 0 || (type > 23 && type < 129) || type > 151) return {Remove(10)};
  const std::string number = std::to_string(type);
  return {R"(SetResultNumber "Chassis_Type" )" + number, R"(SetResultNumber "display.cfg:Chassis type" )" + number};
}

Lines Decisions(const Identity& identity) {
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

// All three structures with the same strings and numbers.
void ExpectDecisions(const Strings& strings, const std::array<std::uint8_t, 4>& numbers,
                     std::uint8_t chassis_type = 0x97) {
  Station station;
  Lines expected;
  for (const Kind& kind : kKinds) {
    const Identity identity{kind, strings, numbers, chassis_type};
    identity.AddTo(station.smbios);
    expected = Joined({expected, Decisions(identity)});
  }
  Lines lines = station.Run(0);
  const auto end = std::ranges::find_if(lines, [](const auto& line) { return line.find("OEM String") != line.npos; });
  lines.erase(end, lines.end());
  std::erase_if(lines, [](const std::string& line) {
    return !line.starts_with("SetResult") && !line.starts_with("RemoveSubtest") &&
           !line.ends_with(R"( programmed.\n")");
  });
  EXPECT_EQ(lines, expected);
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
      ExpectDecisions(strings, numbers);
    }
  }
  const Strings twelve = {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12"};
  ExpectDecisions(twelve, {10, 11, 12, 255});
  ExpectDecisions({"only"}, {0, 0, 2, 0});
  ExpectDecisions({"A", "B"}, {2, 1, 0, 0});
  ExpectDecisions({"A", "B"}, {1, 1, 1, 1});
  ExpectDecisions({"A  ", "   ", std::string(300, 'x'), "D"}, {1, 2, 3, 4});
  for (const std::uint8_t type : {0, 1, 23, 24, 128, 129, 151, 152, 255}) ExpectDecisions({"A"}, {1, 0, 0, 0}, type);
  // In a branch that decides nothing the type is not decided either.
  ExpectDecisions({"A", "B"}, {1, 0, 0, 0}, 0);
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
    for (const Kind& kind : kKinds) Identity{kind, strings, {1, 2, 3, 4}}.AddTo(station.smbios);
    station.smbios.Add(11, 0xB00, {1}, {c.text});
    const Lines results = Only({"SetResultString"}, station.Run(0));
    EXPECT_EQ(results.size(), 13u + 12u);
    for (const std::string& line : results) {
      const bool is_shown = line.find("display.cfg:") != std::string::npos;
      EXPECT_TRUE(line.ends_with(std::string(" \"") + (is_shown ? c.shown : c.text) + "\"")) << line;
    }
  }
}

TEST(Autosense, WaitsForTheBackplanes) {
  const std::pair<const char16_t*, const char*> delays[] = {
      {u"7", "Delay 7000"}, {u"0xFFFFFFFF", "Delay 4294966296"}, {u"7x", "Delay 7000"}};
  for (const auto& [parameter, delay] : delays) {
    Station station;
    station.library->parameters[u"HSBP_FRU_DelayTime"] = parameter;
    EXPECT_EQ(Only({"Delay"}, station.Run(0)), Lines{delay});
  }
}

}  // namespace
