// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "report/environment.h"

#include <algorithm>
#include <optional>

#include "report/last_error.h"
#include "simulation/station.h"
#include "tests/faults_fail_tests.h"

namespace {

using simulation::Station;
using simulation::TextData;
using simulation::VariableStore;

constexpr EFI_GUID kOtherVendor = {0x8BE4DF61, 0x93CA, 0x11D2, {0xAA, 0x0D, 0x00, 0xE0, 0x98, 0x03, 0x2B, 0x8C}};

// A name that fills exactly the 256 bytes which the search offers, and one
// that is a character longer.
const std::u16string kLongestName(127, u'n');
const std::u16string kTooLongName(128, u'n');

struct Search {
  const char* name;
  void (*prepare)(VariableStore&);
  const char16_t* wanted;
  std::optional<std::u16string> value;
};

const Search kSearches[] = {
    {"only one", [](VariableStore& v) { v.Add(u"MFG", TextData(u"ACME")); }, u"MFG", u"ACME"},
    {"any case", [](VariableStore& v) { v.Add(u"mFg", TextData(u"ACME")); }, u"Mfg", u"ACME"},
    {"any vendor", [](VariableStore& v) { v.Add(u"MFG", TextData(u"ACME"), kOtherVendor); }, u"MFG", u"ACME"},
    {"the first of two",
     [](VariableStore& v) {
       v.Add(u"Boot0000", {1, 2, 3});
       v.Add(u"mfg", TextData(u"first"), kOtherVendor);
       v.Add(u"MFG", TextData(u"second"));
     },
     u"MFG", u"first"},
    {"with a terminator",
     [](VariableStore& v) {
       v.Add(u"MFG", TextData({u"AB\0CD", 5}));
     },
     u"MFG", u"AB"},
    {"an odd number of bytes",
     [](VariableStore& v) {
       v.Add(u"MFG", {'A', 0, 'B', 0, 'C'});
     },
     u"MFG", u"AB"},
    {"fills the buffer", [](VariableStore& v) { v.Add(u"MFG", TextData(std::u16string(255, u'x'))); }, u"MFG",
     std::u16string(255, u'x')},
    {"longer than the buffer", [](VariableStore& v) { v.Add(u"MFG", TextData(std::u16string(700, u'x'))); }, u"MFG",
     std::u16string(255, u'x')},
    {"behind the longest name",
     [](VariableStore& v) {
       v.Add(kLongestName, {1});
       v.Add(u"MFG", TextData(u"ACME"));
     },
     u"MFG", u"ACME"},
    {"absent", [](VariableStore& v) { v.Add(u"MFG2", TextData(u"ACME")); }, u"MFG", {}},
    {"an empty store", [](VariableStore&) {}, u"MFG", {}},
    {"behind a name that is too long",
     [](VariableStore& v) {
       v.Add(kTooLongName, {1});
       v.Add(u"MFG", TextData(u"ACME"));
     },
     u"MFG",
     {}},
    {"the first cannot be read",
     [](VariableStore& v) {
       v.Add(u"mfg", TextData(u"first")).read_status = EFI_DEVICE_ERROR;
       v.Add(u"MFG", TextData(u"second"), kOtherVendor);
     },
     u"MFG",
     {}},
    {"no buffer is ever large enough",
     [](VariableStore& v) { v.Add(u"MFG", TextData(u"ACME")).read_status = EFI_BUFFER_TOO_SMALL; },
     u"MFG",
     {}},
    {"a store that never ends",
     [](VariableStore& v) {
       v.never_ends = true;
       v.Add(u"A", {1});
       v.Add(u"B", {2});
     },
     u"MFG",
     {}},
};

TEST(FindEnvVariable, TakesTheFirstVariableOfThatName) {
  for (const Search& search : kSearches) {
    SCOPED_TRACE(search.name);
    Station station;
    station.Bind();
    search.prepare(station.machine.variables);
    const std::size_t allocated = station.machine.memory.Outstanding();
    mfgtest::EnvironmentValue value;
    value.fill(u'#');
    EXPECT_EQ(mfgtest::FindEnvVariable(search.wanted, value), search.value.has_value());
    if (search.value) {
      EXPECT_EQ(value.data(), *search.value);
    } else {
      EXPECT_TRUE(std::ranges::all_of(value, [](char16_t c) { return c == u'#'; }));
    }
    EXPECT_EQ(station.machine.memory.Outstanding(), allocated);
  }
}

TEST(FindEnvVariable, ShowsWhatItFound) {
  Station station;
  station.Bind();
  station.machine.variables.Add(u"Station_Name_Of_The_Line", TextData(u"7"));
  station.machine.variables.Add(u"mfg", TextData(u"ACME"));
  std::array<char16_t, 4> value;
  EXPECT_TRUE(mfgtest::FindEnvVariable(u"MFG", value));
  EXPECT_TRUE(mfgtest::FindEnvVariable(u"station_name_of_the_line", value));
  EXPECT_FALSE(mfgtest::FindEnvVariable(u"", value));
  EXPECT_FALSE(mfgtest::FindEnvVariable(nullptr, value));
  const std::string head = R"(DebugPrint 1 "GUID                                Variable Name        Value\n")";
  const std::string line = R"(DebugPrint 1 "=================================== ==================== ========\n")";
  EXPECT_EQ(station.Transcript(),
            (std::vector<std::string>{
                head, line, R"(DebugPrint 3 "\n158def5a-f656-419c-b027-7a3192c079d mfg                  ACM\n")", head,
                line, R"(DebugPrint 3 "\n158def5a-f656-419c-b027-7a3192c079d Station_Name_Of_The_ 7\n")"}));
}

struct Setting {
  const char* name;
  const char16_t* variable;
  const char16_t* value;
  const char16_t* command;
};

const std::u16string kLongText(300, u'x');
const std::u16string kLongSet = (u"set \"MFG\" \"" + kLongText).substr(0, 255);
const std::u16string kLongDelete = (u"set -d \"" + kLongText).substr(0, 255);

const Setting kSettings[] = {
    {"set", u"MFG", u"ACME", u"set \"MFG\" \"ACME\""},
    {"set with blanks", u"MFG", u" A B ", u"set \"MFG\" \" A B \""},
    {"delete by an empty value", u"MFG", u"", u"set -d \"MFG\""},
    {"delete by no value", u"MFG", nullptr, u"set -d \"MFG\""},
    {"value cut", u"MFG", kLongText.c_str(), kLongSet.c_str()},
    {"name cut", kLongText.c_str(), u"", kLongDelete.c_str()},
};

TEST(SetShellEnvVariable, HasTheShellRunOneCommand) {
  for (const Setting& setting : kSettings) {
    SCOPED_TRACE(setting.name);
    Station station;
    station.Bind();
    EXPECT_TRUE(mfgtest::SetShellEnvVariable(setting.variable, setting.value));
    ASSERT_EQ(station.shell->commands.size(), 1u);
    EXPECT_EQ(station.shell->commands[0].line, setting.command);
    EXPECT_EQ(station.shell->commands[0].parent, station.image);
    EXPECT_FALSE(station.shell->commands[0].debug_output);
  }
}

TEST(SetShellEnvVariable, SaysWhyItFailed) {
  static ShellEnvironment second_environment{};
  const struct {
    const char* name;
    const char16_t* variable;
    void (*prepare)(Station&);
    std::size_t commands;
    const char16_t* reason;
  } cases[] = {
      {"no name", nullptr, [](Station&) {}, 0, u"NULL or empty string not allowed"},
      {"empty name", u"", [](Station&) {}, 0, u"NULL or empty string not allowed"},
      {"no environment", u"MFG", [](Station& s) { s.shell.reset(); }, 0,
       u"Failed to Locate Handle to ShellEnvProtocol."},
      {"two environments", u"MFG",
       [](Station& s) { s.machine.handles.Install(kShellEnvironmentProtocolGuid, &second_environment); }, 0,
       u"Failed to Locate Handle to ShellEnvProtocol."},
      {"environment not obtainable", u"MFG",
       [](Station& s) { s.machine.handles.RefuseInterface(kShellEnvironmentProtocolGuid, EFI_ACCESS_DENIED); }, 0,
       u"Failed to get handle to ShellEnvProtocol."},
      {"refused by the shell", u"MFG", [](Station& s) { s.shell->command_status = EFI_NOT_FOUND; }, 1, u"earlier"},
      {"a warning of the shell", u"MFG", [](Station& s) { s.shell->command_status = EFI_WARN_WRITE_FAILURE; }, 1,
       u"earlier"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Station station;
    station.Bind();
    c.prepare(station);
    mfgtest::SetLastError("earlier");
    EXPECT_FALSE(mfgtest::SetShellEnvVariable(c.variable, u"ACME"));
    EXPECT_EQ(mfgtest::LastError(), std::u16string(c.reason));
    EXPECT_EQ(station.shell ? station.shell->commands.size() : 0, c.commands);
  }
}

}  // namespace
