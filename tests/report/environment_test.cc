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

struct Stored {
  std::u16string name;
  std::vector<std::uint8_t> data;
  EFI_GUID vendor = simulation::kShellVariableGuid;
  EFI_STATUS read_status = EFI_SUCCESS;
};

struct Search {
  std::vector<Stored> store;
  std::optional<std::u16string> value;
};

const std::vector<std::uint8_t> kAcme = TextData(u"ACME");
const std::u16string kFull(255, u'x');

// For the variable Mfg.
const Search kSearches[] = {
    {{{u"Mfg", kAcme}}, u"ACME"},
    {{{u"mFG", kAcme}}, u"ACME"},
    {{{u"MFG", kAcme, kOtherVendor}}, u"ACME"},
    {{{u"Boot0000", {1, 2, 3}}, {u"mfg", TextData(u"first"), kOtherVendor}, {u"MFG", TextData(u"second")}}, u"first"},
    // With a terminator, of an odd number of bytes, as long as the buffer, longer.
    {{{u"MFG", TextData({u"AB\0CD", 5})}}, u"AB"},
    {{{u"MFG", {'A', 0, 'B', 0, 'C'}}}, u"AB"},
    {{{u"MFG", TextData(kFull)}}, kFull},
    {{{u"MFG", TextData(std::u16string(700, u'x'))}}, kFull},
    {{{kLongestName, {1}}, {u"MFG", kAcme}}, u"ACME"},
    {{{kTooLongName, {1}}, {u"MFG", kAcme}}, {}},
    {{{u"MFG2", kAcme}}, {}},
    {{}, {}},
    // The first one counts though it cannot be read.
    {{{u"mfg", TextData(u"first"), kOtherVendor, EFI_DEVICE_ERROR}, {u"MFG", TextData(u"second")}}, {}},
    // No buffer is ever large enough.
    {{{u"MFG", kAcme, kOtherVendor, EFI_BUFFER_TOO_SMALL}}, {}},
};

TEST(FindEnvVariable, TakesTheFirstVariableOfThatName) {
  for (const Search& search : kSearches) {
    SCOPED_TRACE(&search - kSearches);
    Station station;
    station.Bind();
    VariableStore& variables = station.machine.variables;
    for (const Stored& one : search.store) variables.Add(one.name, one.data, one.vendor).read_status = one.read_status;
    // A store without what is sought never ends.
    variables.never_ends = !search.value;
    const std::size_t allocated = station.machine.memory.Outstanding();
    mfgtest::EnvironmentValue value;
    value.fill(u'#');
    EXPECT_EQ(mfgtest::FindEnvVariable(u"Mfg", value), search.value.has_value());
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

TEST(SetShellEnvVariable, HasTheShellRunOneCommand) {
  const std::u16string long_text(300, u'x');
  const struct {
    const char16_t* variable;
    const char16_t* value;
    std::u16string command;
  } cases[] = {
      {u"MFG", u" A B ", u"set \"MFG\" \" A B \""},
      {u"MFG", u"", u"set -d \"MFG\""},
      {u"MFG", nullptr, u"set -d \"MFG\""},
      {u"MFG", long_text.c_str(), (u"set \"MFG\" \"" + long_text).substr(0, 255)},
      {long_text.c_str(), u"", (u"set -d \"" + long_text).substr(0, 255)},
  };
  for (const auto& c : cases) {
    Station station;
    station.Bind();
    EXPECT_TRUE(mfgtest::SetShellEnvVariable(c.variable, c.value));
    ASSERT_EQ(station.shell->commands.size(), 1u);
    EXPECT_EQ(station.shell->commands[0].line, c.command);
    EXPECT_EQ(station.shell->commands[0].parent, station.image);
    EXPECT_FALSE(station.shell->commands[0].debug_output);
  }
}

TEST(SetShellEnvVariable, SaysWhyItFailed) {
  static ShellEnvironment second_environment{};
  const char16_t* const no_name = u"NULL or empty string not allowed";
  const char16_t* const no_handle = u"Failed to Locate Handle to ShellEnvProtocol.";
  const struct {
    const char16_t* variable;
    void (*prepare)(Station&);
    std::size_t commands;
    const char16_t* reason;
  } cases[] = {
      {nullptr, [](Station&) {}, 0, no_name},
      {u"", [](Station&) {}, 0, no_name},
      {u"MFG", [](Station& s) { s.shell.reset(); }, 0, no_handle},
      {u"MFG", [](Station& s) { s.machine.handles.Install(kShellEnvironmentProtocolGuid, &second_environment); }, 0,
       no_handle},
      {u"MFG", [](Station& s) { s.machine.handles.RefuseInterface(kShellEnvironmentProtocolGuid, EFI_ACCESS_DENIED); },
       0, u"Failed to get handle to ShellEnvProtocol."},
      // Refused by the shell, and a warning of it.
      {u"MFG", [](Station& s) { s.shell->command_status = EFI_NOT_FOUND; }, 1, u"earlier"},
      {u"MFG", [](Station& s) { s.shell->command_status = EFI_WARN_WRITE_FAILURE; }, 1, u"earlier"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
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
