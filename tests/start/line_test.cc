// SPDX-License-Identifier: BSD-2-Clause-Patent
// start.efi on a simulated machine with a drive: the line from power-on to its
// last screen, with a module that does what a case wants of a test.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <optional>

#include "platform/handles.h"
#include "platform/image.h"
#include "platform/protocols/shell.h"
#include "platform/protocols/shell_interface.h"
#include "platform/protocols/test_library.h"
#include "simulation/fault.h"
#include "simulation/modern_shell.h"
#include "simulation/old_shell.h"
#include "simulation/text.h"
#include "simulation/volume.h"
#include "testlib/tests.h"
#include "tests/faults_fail_tests.h"

extern "C" EFI_STATUS start_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS testlib_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

namespace {

using simulation::Machine;
using Words = std::vector<std::u16string>;
using Body = std::function<void(TestLibrary& library, std::uint32_t test)>;

Body body;
std::vector<std::uint32_t> tests_run;
bool module_ends = true;

// The module.
EFI_STATUS Module(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  platform::InitializeImage(image, system_table);
  ShellInterface* shell = nullptr;
  auto* const library = platform::FirstInterface<TestLibrary>(kTestLibraryProtocolGuid);
  if (EFI_ERROR(platform::HandleInterface(image, kShellInterfaceProtocolGuid, &shell))) return EFI_NOT_FOUND;
  TestDescriptor descriptor = {48, 795, 0, image, "3.26.1.0001", shell->Argc, shell->Argv};
  if (library->Initialize(&descriptor) == 0) {
    tests_run.push_back(descriptor.SelectedTest);
    if (body) body(*library, descriptor.SelectedTest);
  }
  if (module_ends) library->EndTest();
  return EFI_SUCCESS;
}

EFI_STATUS Deaf(EFI_HANDLE, EFI_SYSTEM_TABLE*) { return EFI_ABORTED; }
EFI_STATUS Resident(EFI_HANDLE, EFI_SYSTEM_TABLE*) { return EFI_SUCCESS; }

std::u16string ipmi_options;
EFI_STATUS IpmiDriver(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  platform::InitializeImage(image, system_table);
  const EFI_LOADED_IMAGE* const loaded = platform::LoadedImage(image);
  const auto* const text = static_cast<const char16_t*>(loaded->LoadOptions);
  ipmi_options = text == nullptr ? u"" : text;
  return EFI_NOT_FOUND;
}

// A graphics device that draws text, 80 columns and 25 rows.
struct Screen {
  explicit Screen(Machine& machine) {
    rows.assign(25, std::u16string(80, u' '));
    output.Mode = &mode;
    output.OutputString = [](SIMPLE_TEXT_OUTPUT_INTERFACE* self, CHAR16* text) EFIAPI {
      reinterpret_cast<Screen*>(self)->Put(AsText(text));
      return EFI_STATUS{EFI_SUCCESS};
    };
    output.SetAttribute = [](SIMPLE_TEXT_OUTPUT_INTERFACE* self, UINTN attribute) EFIAPI {
      self->Mode->Attribute = static_cast<INT32>(attribute);
      return EFI_STATUS{EFI_SUCCESS};
    };
    output.SetCursorPosition = [](SIMPLE_TEXT_OUTPUT_INTERFACE* self, UINTN column, UINTN row) EFIAPI {
      self->Mode->CursorColumn = static_cast<INT32>(column);
      self->Mode->CursorRow = static_cast<INT32>(row);
      return EFI_STATUS{EFI_SUCCESS};
    };
    output.ClearScreen = [](SIMPLE_TEXT_OUTPUT_INTERFACE* self) EFIAPI {
      for (std::u16string& row : reinterpret_cast<Screen*>(self)->rows) row.assign(80, u' ');
      return EFI_STATUS{EFI_SUCCESS};
    };
    EFI_HANDLE device = machine.handles.Install(EFI_GRAPHICS_OUTPUT_PROTOCOL_GUID, &output);
    machine.handles.Install(&device, SIMPLE_TEXT_OUTPUT_PROTOCOL, &output);
    machine.handles.Install(&device, DEVICE_PATH_PROTOCOL, &output);
    // The firmware's console is the screen and the serial port together.
    EFI_HANDLE console = machine.handles.Install(EFI_GRAPHICS_OUTPUT_PROTOCOL_GUID, &output);
    machine.handles.Install(&console, SIMPLE_TEXT_OUTPUT_PROTOCOL, &machine.console.output);
  }

  void Put(std::u16string_view text) {
    drawn += std::u16string(text) + u"\n";
    ASSERT_LT(mode.CursorRow, 25);
    ASSERT_LT(mode.CursorColumn + text.size(), 80u) << "the next row would begin";
    rows[mode.CursorRow].replace(mode.CursorColumn, text.size(), text);
    mode.CursorColumn += static_cast<INT32>(text.size());
  }

  SIMPLE_TEXT_OUTPUT_INTERFACE output{};  // first: a call tells its screen by this address
  SIMPLE_TEXT_OUTPUT_MODE mode{};
  std::vector<std::u16string> rows;
  std::u16string drawn;
};

// One boot: of the drive, or of a shell from which the line is started.
struct Boot {
  Boot() {
    body = nullptr;
    module_ends = true;
    tests_run.clear();
    machine.programs = Programs();
  }

  static std::map<std::u16string, simulation::Program> Programs() {
    return {{u"\\mfgtest.efi", {Module}},
            {u"\\testlib.efi", {testlib_efi_main, true}},
            {u"\\ipmi_kcs.efi", {IpmiDriver, true}},
            {u"\\smbios_entry.efi", {Resident, true}}};
  }

  // Boots the drive, or starts the line from a shell with these words; gives what
  // came of it: "stay", "off", "reboot" or "exit".
  std::string Run(const std::string& parameters, std::optional<Words> words = {}) {
    volume.files[u"\\mfgtest.cfg"] = parameters;
    tests_run.clear();
    machine.console.written.clear();
    const EFI_HANDLE image = machine.LoadImage(volume.handle, words ? u"\\start.efi" : u"\\EFI\\BOOT\\BOOTX64.EFI");
    try {
      if (!words) {
        machine.StartImage(image, start_efi_main);
      } else {
        words->insert(words->begin(), u"FS0:\\start.efi");
        simulation::ModernShell shell(machine);
        shell.Run(image, start_efi_main, simulation::CommandLine(*words));
      }
      return "exit";
    } catch (const simulation::WaitsForEver&) {
      return "stay";
    } catch (const simulation::MachineReset& reset) {
      return reset.type == EfiResetShutdown ? "off" : "reboot";
    }
  }

  std::u16string Variable(const char16_t* name) {
    const simulation::Variable* const variable = machine.variables.Find(name, simulation::kShellVariableGuid);
    if (variable == nullptr) return u"";
    return {reinterpret_cast<const char16_t*>(variable->data.data()), variable->data.size() / sizeof(char16_t)};
  }

  void ExpectShown(std::u16string_view text) {
    EXPECT_NE(machine.console.written.find(text), std::u16string::npos)
        << simulation::Readable(text) << "\nin\n"
        << simulation::Readable(machine.console.written);
  }

  // The last line of all, behind a line end, with this end.
  void ExpectSummary(std::u16string_view end) {
    const std::u16string& written = machine.console.written;
    const std::size_t at = written.rfind(u"\r\nSUMMARY ");
    ASSERT_NE(at, std::u16string::npos);
    const std::u16string_view summary = std::u16string_view(written).substr(at + 2);
    EXPECT_TRUE(summary.ends_with(std::u16string(end) + u"\r\n")) << simulation::Readable(summary);
    EXPECT_EQ(summary.find(u'\n'), summary.size() - 1);
  }

  Machine machine;
  simulation::Volume volume{machine};
};

// What a line runs when nobody says otherwise.
std::vector<std::uint32_t> DefaultTests() {
  std::vector<std::uint32_t> tests;
  for (const testlib::TestRow& test : testlib::Tests()) {
    if (test.IsInLine()) tests.push_back(test.number);
  }
  return tests;
}

// A unit on which test 2 fails, and test 3 does not apply.
void FindFaults(TestLibrary& library, std::uint32_t test) {
  if (test == 0) library.RemoveSubtest(3);
  if (test == 2) library.ReportError(4, u"\nSystem_Product mismatched. \nExp: \"%s\"\nRec: \"%s\"\n", u"A", u"B");
}

TEST(Line, RunsTheTestsOfTheOrder) {
  for (const std::uint32_t other : {22, 28, 30, 31, 32, 41, 42}) EXPECT_FALSE(testlib::FindTest(other)->IsInLine());
  const std::u16string all = simulation::Widen(std::to_string(DefaultTests().size()));
  const struct {
    std::string parameters;
    std::optional<Words> words;
    Body body;
    std::vector<std::uint32_t> tests;
    std::u16string summary;
    std::string after = "stay";
  } cases[] = {
      {"", {}, {}, DefaultTests(), u"SUMMARY " + all + u" passed, 0 failed, 0 errors, 0 skipped: PASS"},
      {"Line_Tests = 5 0 1-3", {}, FindFaults, {0, 5, 1, 2}, u"3 passed, 1 failed, 0 errors, 1 skipped: FAIL"},
      {"Line_Tests = 1-3\nAfter_Line=off", {}, {}, {1, 2, 3}, u"3 passed, 0 failed, 0 errors, 0 skipped: PASS", "off"},
      {"Line_Tests=1\nAfter_Line=reboot", {}, {}, {1}, u"1 passed, 0 failed, 0 errors, 0 skipped: PASS", "reboot"},
      {"Line_Tests=1 28\nAfter_Line=exit", {}, {}, {1, 28}, u"2 passed, 0 failed, 0 errors, 0 skipped: PASS", "exit"},
      {"Line_Tests=1\nDelay_Scale=5",
       {},
       {},
       {1},
       u"1 passed, 0 failed, 0 errors, 0 skipped, waits at 5 percent: PASS"},
      {"Line_Tests = 1-5",
       Words{u"stop"},
       FindFaults,
       {1, 2},
       u"1 passed, 1 failed, 0 errors, 0 skipped, 3 not run: FAIL",
       "exit"},
      {"Line_Tests = 0 1",
       Words{u"X_A=B", u"", u"write"},
       {},
       {0, 28, 31, 32, 1},
       u"5 passed, 0 failed, 0 errors, 0 skipped: PASS",
       "exit"},
      {"Line_Tests = 1", Words{u"-s", u"1"}, {}, {1}, u"skipped, waits at 1 percent: PASS", "exit"},
      {"Line_Tests = 1\nAfter_Line = stay", Words{}, {}, {1}, u"skipped: PASS", "stay"},
      // What no line may begin with.
      {"Line_Tests = 1-3\nRequired_Tests = 1-4", {}, {}, {}, u"0 skipped, 3 not run: ERROR"},
      {"Line_Tests = 27-33", {}, {}, {}, u"ERROR"},
      {"Line_Tests = 1 15", {}, {}, {}, u"ERROR"},
      {"Line_Tests = all", {}, {}, {}, u"ERROR"},
      {"After_Line = later", {}, {}, {}, u"ERROR"},
      {"Test_Timeout = long", {}, {}, {}, u"ERROR"},
      {"Delay_Scale = 101", {}, {}, {}, u"ERROR"},
      {"System_Serial_Number = ask:[a-", {}, {}, {}, u"ERROR"},
      {"A", {}, {}, {}, u"ERROR"},
      {"", Words{u"halt"}, {}, {}, u"ERROR", "exit"},
      {"", Words{u"--list"}, {}, {}, u"ERROR", "exit"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.parameters);
    Boot boot;
    body = c.body;
    boot.machine.variables.Add(u"MfgLineVerdict", simulation::TextData(u"PASS"));
    EXPECT_EQ(boot.Run(c.parameters, c.words), c.after);
    EXPECT_EQ(tests_run, c.tests);
    boot.ExpectSummary(c.summary);
    EXPECT_EQ(boot.Variable(u"MfgLineVerdict"), c.summary.substr(c.summary.rfind(u' ') + 1));
    EXPECT_EQ(boot.machine.watchdog_seconds, 0u);
    EXPECT_FALSE(boot.volume.files.contains(u"\\running.txt"));
    EXPECT_EQ(boot.machine.is_connected, true);
  }
}

TEST(Line, GivesTheOrdersOptionsToTheIpmiDriver) {
  Boot boot;
  boot.Run("Line_Tests = 1\nIpmi_Kcs_Options = io=0xca2 spacing=4");
  EXPECT_EQ(ipmi_options, u"io=0xca2 spacing=4");
}

TEST(Line, RunsFromAnOldShell) {
  Boot boot;
  simulation::OldShell shell(boot.machine);
  tests_run.clear();
  boot.volume.files[u"\\mfgtest.cfg"] = "Line_Tests = 1 2";
  const EFI_HANDLE image = boot.machine.LoadImage(boot.volume.handle, u"\\start.efi");
  shell.Run(image, start_efi_main, simulation::CommandLine({u"start.efi", u"stop"}));
  EXPECT_EQ(tests_run.size(), 2u);
  EXPECT_EQ(shell.commands.back().line, u"set -v \"MfgLineVerdict\" \"PASS\"");
}

Words dump_words;
EFI_STATUS NoteDump(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  platform::InitializeImage(image, system_table);
  ShellParameters* parameters = nullptr;
  (void)platform::HandleInterface(image, kShellParametersProtocolGuid, &parameters);
  for (UINTN i = 0; i < parameters->Argc; ++i) dump_words.emplace_back(AsText(parameters->Argv[i]));
  return EFI_SUCCESS;
}

// With the parameters of the line, and where the order asks for it.
TEST(Line, HasAMachineDumpedThatDidNotPass) {
  const struct {
    std::string parameters;
    bool has_image;
    Words dump;
    std::u16string shows;
  } cases[] = {
      {"Line_Tests=2\nDump_On_Failure=Yes", true, {u"dump.efi", u"X_A=B"}, u"lies in the folder dump"},
      {"Line_Tests=2\nDump_On_Failure=yes", false, {}, u"dump.efi is not loaded: it is not on the drive"},
      {"Line_Tests=1\nDump_On_Failure=yes", true, {}, u"PASS"},
      {"Line_Tests=2\nDump_On_Failure=no", true, {}, u"FAIL"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.parameters);
    Boot boot;
    body = FindFaults;
    dump_words.clear();
    if (c.has_image) boot.machine.programs[u"\\dump.efi"] = {NoteDump};
    boot.Run(c.parameters, Words{u"stop", u"X_A=B", u"-s", u"1"});
    EXPECT_EQ(dump_words, c.dump);
    boot.ExpectShown(c.shows);
  }
}

TEST(Line, AsksForWhatDiffersFromUnitToUnit) {
  std::vector<std::u16string> answers;
  const Body read = [&](TestLibrary& library, std::uint32_t) {
    std::array<char16_t, 32> value{};
    EXPECT_EQ(library.GetParamString(u"System_Serial_Number", value.data(), sizeof value), 0u);
    answers.emplace_back(value.data());
  };
  const struct {
    std::string parameters;
    std::u16string keys;
    std::u16string answer;  // empty: the line ends
    std::u16string shows;
  } cases[] = {
      {"System_Serial_Number = ask", u"\r \r SN-1 \r", u"SN-1", u"Again: expected an answer, or Escape to give up"},
      {"System_Serial_Number = ask:\"Scan the label\" SN-[0-9]*", u"SN-x\renv=A\rSN-0\b12\r", u"SN-12",
       u"Scan the label\r\n"},
      {"System_Serial_Number = ask:S?[A-C_]", u"SN\rSNDx\rSN_\r", u"SN_", u"Again: expected S?[A-C_]"},
      {"System_Serial_Number = ask", u"SN-1\x1B", u"", u"System_Serial_Number was not answered"},
      {"System_Serial_Number = ask", u"\x03", u"",
       u"SUMMARY 0 passed, 0 failed, 0 errors, 0 skipped, 2 not run: ERROR"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.parameters);
    Boot boot;
    body = read;
    answers.clear();
    boot.machine.console.keys.assign(c.keys.begin(), c.keys.end());
    boot.Run(c.parameters + "\nLine_Tests = 1 4");
    EXPECT_EQ(answers, c.answer.empty() ? Words{} : Words(2, c.answer));
    boot.ExpectShown(c.shows);
    boot.ExpectShown(c.answer.empty() ? u"Unit without" : u"Unit " + c.answer + u" ");
  }
}

TEST(Line, TellsWhatStopsIt) {
  const struct {
    const char* name;
    std::function<void(Boot&)> prepare;
    std::u16string shows;
    std::u16string summary;
  } cases[] = {
      {"a key",
       [](Boot& l) { body = [&l](TestLibrary&, std::uint32_t) {
                       l.machine.console.keys = {u'a', 0x1B, u'b'};
                     }; },
       u"the operator ended the line", u"1 passed, 0 failed, 0 errors, 0 skipped, 1 not run: ERROR"},
      {"no module", [](Boot& l) { l.machine.programs.erase(u"\\mfgtest.efi"); },
       u"mfgtest.efi is not loaded: it is not on the drive", u": ERROR"},
      {"a module that is not signed",
       [](Boot& l) {
         l.machine.programs[u"\\mfgtest.efi"].load_status = EFI_SECURITY_VIOLATION;
         l.machine.variables.Add(u"SecureBoot", {1}, EFI_GLOBAL_VARIABLE);
       },
       u"mfgtest.efi is not loaded: Secure Boot is on, and it is not signed by a key that this machine trusts",
       u": ERROR"},
      {"no library", [](Boot& l) { l.machine.programs[u"\\testlib.efi"].load_status = EFI_LOAD_ERROR; },
       u"testlib.efi is not loaded: the file is damaged", u"no test runs without it: ERROR"},
      {"a driver that is refused", [](Boot& l) { l.machine.programs.erase(u"\\ipmi_kcs.efi"); },
       u"ipmi_kcs.efi is not loaded: it is not on the drive", u": PASS"},
      {"no end of the test", [](Boot&) { module_ends = false; }, u"the module did not come to the end of the test",
       u"0 passed, 0 failed, 2 errors, 0 skipped: ERROR"},
      {"no beginning of the test", [](Boot& l) { l.machine.programs[u"\\mfgtest.efi"] = {Deaf}; },
       u"the module ended before it began the test: Aborted", u"0 passed, 0 failed, 2 errors, 0 skipped: ERROR"},
      {"a drive that is pulled", [](Boot& l) { body = [&l](TestLibrary&, std::uint32_t) { l.volume.Vanish(); }; },
       u"running.txt cannot be written", u"1 passed, 0 failed, 0 errors, 0 skipped, 1 not run: ERROR"},
      {"a drive that takes nothing", [](Boot& l) { l.volume.behaviour.write_status = EFI_WRITE_PROTECTED; },
       u"The drive is write-protected", u": PASS"},
      {"a verdict that stays",
       [](Boot& l) {
         l.machine.variables.Add(u"MfgLineVerdict", simulation::TextData(u"PASS"));
         l.machine.variables.write_status = EFI_OUT_OF_RESOURCES;
       },
       u"MfgLineVerdict of an earlier line cannot be removed", u": ERROR"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Boot boot;
    c.prepare(boot);
    boot.Run("Line_Tests = 1 2");
    boot.ExpectShown(c.shows);
    boot.ExpectSummary(c.summary);
  }
}

TEST(Line, DrawsProgressAndTheAnswerOnTheScreen) {
  for (const bool passes : {true, false}) {
    Boot boot;
    Screen screen(boot.machine);
    body = [&](TestLibrary& library, std::uint32_t) {
      library.Delay(1000);
      if (!passes) library.ReportError(4, u"%s", std::u16string(200, u'x').c_str());
    };
    boot.Run("Line_Tests = 1-13 42");
    EXPECT_NE(screen.drawn.find(u"[14/14] 42 Backplane FRU records ... 39 s left"), std::u16string::npos);
    EXPECT_EQ(boot.machine.console.written.find(u" s left"), std::u16string::npos);
    EXPECT_EQ(screen.rows[0].substr(0, 5), u"  " + std::u16string(3, 0x2588));
    const auto last = std::ranges::find_if(screen.rows, [](const auto& row) { return row.starts_with(u"SUMMARY"); });
    ASSERT_LT(last, screen.rows.end() - 1) << "the cursor needs a row";
    EXPECT_EQ(last->find(passes ? u": PASS" : u": FAIL") != std::u16string::npos, true);
    EXPECT_EQ((last - 2)->starts_with(u"... and "), !passes);
  }
}

TEST(Line, AHungTestDoesNotStartAgainByItself) {
  std::map<std::u16string, std::string> drive;
  {
    Boot boot;
    body = [&](TestLibrary& library, std::uint32_t test) {
      const std::uint64_t& watchdog = boot.machine.watchdog_seconds;
      EXPECT_EQ(watchdog, test == 42 ? 39u + 7 : 7u);
      // The operator may take his time.
      boot.machine.console.keys = {u'\r'};
      char16_t answer[4];
      library.ReadInput(answer, 4, 0);
      EXPECT_EQ(watchdog, test == 42 ? 39u + 7 : 7u);
      // Waits beyond those that are known are waits all the same.
      library.Delay(test == 42 ? 39'000 : 2'000);
      EXPECT_EQ(watchdog, test == 42 ? 39u + 7 : 7u + 2);
      if (test == 42) throw simulation::MachineReset{EfiResetCold};
    };
    EXPECT_EQ(boot.Run("Line_Tests = 4 42 5\nTest_Timeout = 7"), "reboot");
    drive = boot.volume.files;
  }
  for (const bool key_is_pressed : {false, true}) {
    Boot boot;
    boot.volume.files = drive;
    if (key_is_pressed) boot.machine.console.keys = {u'\r'};
    EXPECT_EQ(boot.Run("Line_Tests = 4"), "stay");
    boot.ExpectShown(u"test 42 Backplane FRU records did not come back");
    boot.ExpectSummary(key_is_pressed ? u": PASS" : u": ERROR");
    EXPECT_EQ(tests_run.size(), key_is_pressed ? 1u : 0u);
  }
}

}  // namespace
