// SPDX-License-Identifier: BSD-2-Clause-Patent
// The driver on a simulated machine: loaded, used by an application through
// the shell bridge, unloaded.
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/bridges.h"
#include "platform/console.h"
#include "platform/format.h"
#include "platform/handles.h"
#include "platform/image.h"
#include "platform/memory.h"
#include "platform/protocols/shell.h"
#include "platform/protocols/shell_environment.h"
#include "platform/protocols/shell_interface.h"
#include "platform/protocols/test_library.h"
#include "simulation/machine.h"
#include "simulation/modern_shell.h"
#include "simulation/old_shell.h"
#include "simulation/text.h"
#include "simulation/volume.h"
#include "testlib/results.h"
#include "tests/drivers/loaded_driver.h"
#include "tests/faults_fail_tests.h"

extern "C" EFI_STATUS testlib_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

namespace {

using simulation::CommandLine;
using Words = std::vector<std::u16string>;
using Body = std::function<void(TestLibrary& library)>;

void Nothing(TestLibrary&) {}

// Words between blanks; what stands in quotation marks may hold blanks.
Words Typed(const std::u16string& line) {
  Words words;
  bool is_quoted = false;
  for (char16_t last = u' '; const char16_t c : line) {
    if (c == u'"') is_quoted = !is_quoted;
    if (last == u' ' && c != u' ') words.emplace_back();
    if (c != u'"' && (c != u' ' || is_quoted)) words.back() += c;
    last = is_quoted ? u'"' : c;
  }
  return words;
}

// What the application of the running test does between Initialize and EndTest.
Body application_body;
bool application_ends = true;
TestDescriptor descriptor;

EFI_STATUS Application(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  platform::InitializeImage(image, system_table);
  ShellInterface* shell = nullptr;
  auto* const library = platform::FirstInterface<TestLibrary>(kTestLibraryProtocolGuid);
  if (EFI_ERROR(platform::HandleInterface(image, kShellInterfaceProtocolGuid, &shell)) || library == nullptr) {
    return EFI_NOT_FOUND;
  }
  descriptor = {48, 795, 0, image, "3.26.1.0001", static_cast<std::uint32_t>(shell->Argc), shell->Argv};
  if (library->Initialize(&descriptor) == 0) application_body(*library);
  if (application_ends) library->EndTest();
  return EFI_SUCCESS;
}

struct Driver : testing::Test {
  Driver() { application_ends = true; }

  EFI_STATUS Load() {
    loaded.emplace(machine, testlib_efi_main);
    return loaded->status;
  }

  // What an application writes on the console.
  template <class Shell>
  std::u16string RunOn(Shell& shell_to_use, const std::u16string& line, const Body& body) {
    machine.console.written.clear();
    Words words = {u"FS0:\\mfgtest.efi"};
    for (const std::u16string& word : Typed(line)) words.push_back(word);
    application_body = body;
    image = machine.LoadImage();
    platform::LoadedImage(image)->DeviceHandle = device;
    status = shell_to_use.Run(image, application, CommandLine(words)).status;
    machine.UnloadImage(image);
    return machine.console.written;
  }

  std::u16string Verdict() const {
    const simulation::Variable* const variable = machine.variables.Find(u"MfgVerdict", simulation::kShellVariableGuid);
    if (variable == nullptr) return u"";
    EXPECT_EQ(variable->attributes & EFI_VARIABLE_NON_VOLATILE, 0u);
    return {reinterpret_cast<const char16_t*>(variable->data.data()), variable->data.size() / sizeof(char16_t)};
  }

  simulation::ImageEntry application = Application;
  simulation::Machine machine;
  std::optional<LoadedDriver> loaded;
  EFI_HANDLE image = nullptr;
  // From which the application is loaded.
  EFI_HANDLE device = nullptr;
  EFI_STATUS status = 0;
};

struct DriverOnModernShell : Driver {
  std::u16string Run(const std::u16string& line, const Body& body = Nothing) { return RunOn(shell, line, body); }

  void AddFile(const char16_t* name, const std::string& content) {
    shell.files[name] = {content.begin(), content.end()};
  }

  simulation::ModernShell shell{machine};
};

void ReportTwice(TestLibrary& library) {
  library.ReportError(4, u"\n%s mismatched. \nExp: \"%s\"\nRec: \"%s\"\n", u"X", u"a", u"b");
  library.ReportError(23, u"again %x\n", UINTN{0xAB});
}
void ReportStationError(TestLibrary& library) {
  library.ReportError(23, u"Failed to locate IPMI protocol. Make sure IPMI.EFI is loaded.\n");
}
void ReportNoSuchTest(TestLibrary& library) { library.ReportError(0, u"Invalid test number: %d\n", UINTN{15}); }

void ExpectShown(const std::u16string& written, std::initializer_list<std::u16string_view> texts) {
  for (const std::u16string_view text : texts) {
    EXPECT_NE(written.find(text), written.npos)
        << simulation::Readable(text) << " in " << simulation::Readable(written);
  }
}

TEST_F(DriverOnModernShell, TellsTheVerdictOfARun) {
  ASSERT_EQ(Load(), EFI_SUCCESS);
  AddFile(u"typo.cfg", "X_Own=1\nSytem_Product=x\nHSBP=y\n");
  AddFile(u"bad.cfg", "# x\nA B\n");
  AddFile(u"full.cfg", "#" + std::string(500, 'x') + "\n" + std::string(64 * 1024 - 502, '\n'));
  AddFile(u"big.cfg", std::string(64 * 1024 + 1, '\n'));
  const Body refused;  // no test runs
  const struct {
    const char16_t* line;
    Body body;
    std::u16string verdict;
    std::u16string shows;
  } cases[] = {
      {u"1", Nothing, u"PASS", u"\r\nRESULT test 1 \"System manufacturer\": PASS, 0 errors, "},
      {u"1", ReportTwice, u"FAIL",
       u"\r\nERROR 4: X mismatched. \r\n  Exp: \"a\"\r\n  Rec: \"b\"\r\n  -> program the unit, or correct the order's data\r\nERROR 23: again ab"},
      {u"1", ReportTwice, u"FAIL", u"\r\nRESULT test 1 \"System manufacturer\": FAIL, 2 errors, "},
      {u"15", ReportNoSuchTest, u"ERROR", u"\r\n  -> --list shows the tests\r\nRESULT test 15 \"-\": ERROR, 1 error, "},
      {u"1", ReportStationError, u"ERROR", u"\r\n  -> load ipmi_kcs.efi, then start the test again\r\nRESULT"},
      {u"1 -f full.cfg", Nothing, u"PASS", u"RESULT"},
      {u"--bogus", refused, u"ERROR", u"unknown option --bogus"},
      {u"", refused, u"ERROR", u"\r\nRESULT test - \"-\": ERROR, 1 error, "},
      {u"1 -f none.cfg", refused, u"ERROR", u"none.cfg: there is no such file"},
      {u"1 -f bad.cfg", refused, u"ERROR", u"bad.cfg line 2: expected NAME = VALUE"},
      {u"1 -f big.cfg", refused, u"ERROR", u"big.cfg: the file is larger than 65536 bytes"},
      {u"1 X=", refused, u"ERROR", u"command line: \"X=\": the value is empty"},
      {u"1 -f typo.cfg", refused, u"ERROR",
       u"ERROR: typo.cfg line 2: Sytem_Product = \"x\": no test knows this parameter. Is it System_Product? (Names of the station's own begin with X_.)\r\nERROR: typo.cfg line 3: HSBP = \"y\": expected a number"},
      {u"1 HSBP=x", refused, u"ERROR", u"ERROR: command line: HSBP = \"x\": expected a number"},
      {u"39 -n HSBP=1", refused, u"",
       u"  SYS_BD_FRU_ID: missing\r\n      FRU device ID, when HSBP is 0\r\n      a number of 32 bits, required\r\n  HSBP = \"1\"  (command line)\r\n"},
      {u"--help", refused, u"", u"mfgtest.efi [options]"},
      {u"-l", refused, u"", u"Chassis type\r\n      Chassis_Type\r\n"},
      {u"-l", refused, u"", u"  10  Chassis type"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(simulation::Readable(c.shows));
    bool ran = false;
    const std::u16string written = Run(c.line, [&](TestLibrary& library) {
      ran = true;
      if (c.body) c.body(library);
    });
    ExpectShown(written, {c.shows});
    EXPECT_EQ(Verdict(), c.verdict);
    EXPECT_EQ(written.find(u"RESULT ") == written.npos, c.verdict.empty());
    EXPECT_EQ(written.rfind(u"RESULT "), written.find(u"RESULT "));
    EXPECT_EQ(ran, static_cast<bool>(c.body));
  }
}

TEST_F(DriverOnModernShell, AsksForAValueWhenItIsRead) {
  ASSERT_EQ(Load(), EFI_SUCCESS);
  const struct {
    const char16_t* line;
    std::u16string keys;
    std::u16string value;
  } cases[] = {{u"4 System_Serial_Number=ask:SN-?", u"x\rSN-1\r", u"SN-1"},
               {u"4 System_Serial_Number=ask:SN-?", u"SN-1\x1B", u""},
               {u"4 System_Serial_Number=ask:SN-? -aSN-2", u"", u"SN-2"},
               {u"4 System_Serial_Number=ask:SN-? -ax", u"", u""}};
  for (const auto& c : cases) {
    machine.console.keys.assign(c.keys.begin(), c.keys.end());
    std::array<char16_t, 32> value{};
    Run(c.line, [&](TestLibrary& library) {
      // Asked once a run.
      library.GetParamString(u"System_Serial_Number", value.data(), sizeof value);
      if (value[0] != 0) library.GetParamString(u"System_Serial_Number", value.data(), sizeof value);
    });
    EXPECT_EQ(std::u16string(value.data()), c.value);
    EXPECT_TRUE(machine.console.keys.empty());
  }
}

TEST_F(DriverOnModernShell, SaysWhatItLeavesOut) {
  simulation::Volume volume(machine);
  volume.files[u"mfgtest.cfg"] = "X_A=1\nB";
  ASSERT_EQ(Load(), EFI_SUCCESS);
  AddFile(u"a", "");
  const auto set_env = [](const CHAR16*, const CHAR16*, BOOLEAN) EFIAPI { return EFI_STATUS{EFI_ACCESS_DENIED}; };
  const auto file_info = [](SHELL_FILE_HANDLE) EFIAPI -> EFI_FILE_INFO* {
    EFI_FILE_INFO* const info = static_cast<EFI_FILE_INFO*>(platform::TakeBlock(sizeof(EFI_FILE_INFO)));
    info->Attribute = EFI_FILE_DIRECTORY;
    return info;
  };
  const auto read_file = [](SHELL_FILE_HANDLE, UINTN*, void*) EFIAPI { return EFI_STATUS{EFI_DEVICE_ERROR}; };
  auto* const calls = platform::FirstInterface<EFI_SHELL_PROTOCOL>(kShellProtocolGuid);
  const EFI_SHELL_PROTOCOL good = *calls;
  const auto publish_too_much = [](TestLibrary& library) {
    for (UINTN i = 0; i < testlib::ResultStore::kResults; ++i)
      library.SetResultNumber(simulation::Widen(std::to_string(i)).c_str(), i);
    library.SetResultString(u"last", u"");
  };
  const auto remove = [](TestLibrary& library) { library.RemoveSubtest(64); };
  const auto ask_for_nothing = [](TestLibrary& library) {
    char16_t answer = u'x';
    library.ReadInput(nullptr, 4, 0);
    library.ReadInput(&answer, 0, 0);
    library.LogMessage(u"(%c)", UINTN{answer});
  };
  const auto report_at_length = [](TestLibrary& library) {
    library.ReportError(4, u"\r\n%s", std::u16string(5000, u'x').c_str());
  };
  const struct {
    const char16_t* line;
    std::u16string shows;
    std::function<void()> prepare = [] {};
    Body body = Nothing;
  } cases[] = {
      {u"--show", u"\r\nNo parameters are given.\r\n", [] { platform::Write(u"FS0:\\> "); }},
      {u"1", u"\r\nThere is no test 64 to remove.\r\n", [] {}, remove},
      {u"1", u"(x)\r\nRESULT", [] {}, ask_for_nothing},
      {u"1", u"\r\nERROR 4: " + std::u16string(4000, u'x'), [] {}, report_at_length},
      {u"1", u"\r\nThere is no room for more results: last is not kept\r\n", [] {}, publish_too_much},
      {u"1",
       u"ERROR: the verdict of an earlier run, MfgVerdict, cannot be removed: Access Denied. Delete it in the shell: set "
       u"-d MfgVerdict\r\nThe shell variable MfgVerdict could not be set: Access Denied\r\nRESULT test 1 \"System "
       u"manufacturer\": ERROR",
       [&] { calls->SetEnv = set_env; }},
      {u"28 FlashAddress=0xFFFE0001", u"ERROR: test 28 would erase and rewrite the 64 KiB at FlashAddress"},
      {u"28 FlashAddress=0xFFFFFFFF Allow_Top_Of_Flash=no", u"ERROR: test 28 would erase"},
      {u"28 FlashAddress=0xFFFF0000 Allow_Top_Of_Flash=YES", u"GUID writing\": PASS"},
      {u"28 FlashAddress=0xFFFE0000", u"GUID writing\": PASS"},
      {u"30 FlashAddress=0xFFFF0000", u"GUID in flash\": PASS"},
      {u"1 -fa", u"a: this is a folder, expected a file", [&] { calls->GetFileInfo = file_info; }},
      {u"1 -fa", u"a: the file cannot be read: Device Error", [&] { calls->ReadFile = read_file; }},
      {u"1", u"mfgtest.cfg line 2: expected NAME = VALUE", [&] { device = volume.handle; }},
      {u"1", u"Parameters of mfgtest.cfg beside the module count.\r\n",
       [&] { volume.files[u"mfgtest.cfg"].resize(6); }},
      {u"1", u"mfgtest.cfg: the file cannot be read: No Media", [&] { volume.behaviour.open_status = EFI_NO_MEDIA; }},
  };
  EXPECT_TRUE(Run(u"--summary").starts_with(u"Runs since the library was loaded: 0\r\n"));
  for (const auto& c : cases) {
    SCOPED_TRACE(simulation::Readable(c.shows));
    *calls = good;
    c.prepare();
    const std::u16string written = Run(c.line, c.body);
    ExpectShown(written, {c.shows});
  }
}

TEST_F(DriverOnModernShell, GivesParametersByRank) {
  ASSERT_EQ(Load(), EFI_SUCCESS);
  AddFile(u"a", "X_A=a\nX_B=a\nX_C=a\nX_N=0x1F\nX_M=-1\n");
  AddFile(u"b", "X_B=b\nX_C=b\n");
  const std::u16string written = Run(u"1 X_C=typed -fa -fb", [](TestLibrary& library) {
    std::array<char16_t, 8> text{};
    for (const auto& [name, value] : {std::pair{u"X_A", u"a"}, {u"X_B", u"b"}, {u"X_C", u"typed"}}) {
      EXPECT_EQ(library.GetParamString(name, text.data(), sizeof text), 0u);
      EXPECT_EQ(std::u16string(text.data()), value);
    }
    EXPECT_EQ(library.GetParamString(u"X_C", text.data(), 11), kTestLibraryBufferTooSmall);
    EXPECT_EQ(library.GetParamString(u"X_c", text.data(), sizeof text), 1u);
    std::uint32_t number = 0;
    EXPECT_EQ(library.GetParamNumber(u"X_N", &number), 0u);
    EXPECT_EQ(number, 0x1Fu);
    EXPECT_EQ(library.GetParamNumber(u"none", &number), 1u);
    EXPECT_EQ(library.GetParamNumber(u"X_M", &number), 2u);
    EXPECT_EQ(library.unused22(), 7u);
  });
  ExpectShown(written, {u"X_M = \"-1\" (a line 5): expected a number"});
  ExpectShown(Run(u"--show X_C=typed -fa -fb"),
              {u"X_A = \"a\"  (a line 1)", u"X_B = \"b\"  (b line 1)", u"X_C = \"typed\"  (command line)"});
}

TEST_F(DriverOnModernShell, TalksToTheOperator) {
  ASSERT_EQ(Load(), EFI_SUCCESS);
  const auto ask = [](TestLibrary& library) {
    std::u16string answers;
    for (int i = 0; i < 3; ++i) {
      std::array<char16_t, 4> answer;
      library.Prompt(u"next? ");
      library.ReadInput(answer.data(), answer.size(), 0);
      (answers += answer.data()) += u';';
    }
    library.LogMessage(u"[%s]\n", answers.c_str());
    library.DebugPrint(1, u"progress\n");
    library.DebugPrint(6, u"details %d\r\n", UINTN{7});
    library.DisplayPrint(u"\x1B[2J\n");
    library.SetResultNumber(u"display.cfg:Type", 23);
    library.SetResultString(u"display.cfg:System product", u"Box");
    library.SetResultString(u"System_Product", u"Box");
    library.Delay(1000);
  };
  const std::u16string scripted = Run(u"1 -a s -a quite -d2 -s 25", ask);
  ExpectShown(scripted,
              {u"[s;qui;;]\r\n", u"no answer is left", u"details 7\r\n", u"?[2J\r\n", u"25 percent",
               u"Results:\r\n  Type            23\r\n  System product  Box\r\nRESULT", u" s, 1.0 s of waits\r\n"});
  EXPECT_EQ(scripted.find(u"progress"), scripted.npos);
  // A quarter of a second, and the calibration of the clock.
  EXPECT_EQ(machine.stalled_microseconds, 250'000u + 10'000u);

  for (const char16_t key : std::u16string_view(u"ab\b\b\bX Z\r\nlong")) machine.console.keys.push_back(key);
  machine.system_table.BootServices->WaitForEvent = [](UINTN, EFI_EVENT*, UINTN*) EFIAPI {
    simulation::Machine::Current().console.keys.push_back(u'\r');
    return EFI_STATUS{EFI_SUCCESS};
  };
  ExpectShown(Run(u"1 -s0", ask), {u"[X Z;;lon;]"});
  EXPECT_EQ(Run(u"1").find(u"Results"), std::u16string::npos) << "those of another run";
}

TEST_F(DriverOnModernShell, RemembersTheBoot) {
  ASSERT_EQ(Load(), EFI_SUCCESS);
  Run(u"0", [](TestLibrary& library) {
    library.LogMessage(u"No asset tag.\nRemoving 13.\n");
    library.DebugPrint(1, u"unseen");
    library.RemoveSubtest(13);
  });
  bool ran = false;
  const std::u16string skipped = Run(u"13", [&](TestLibrary&) { ran = true; });
  EXPECT_FALSE(ran);
  EXPECT_EQ(Verdict(), u"SKIP");
  ExpectShown(skipped, {u"does not apply to this machine (removed by test 0): No asset tag. Removing 13.\r\n"});
  const std::u16string failed = Run(u"13 \"Required_Tests=1-12 13\"", [&](TestLibrary&) { ran = true; });
  EXPECT_EQ(Verdict(), u"FAIL");
  ExpectShown(failed, {u"ERROR: test 13 has to apply to this machine: Required_Tests names it"});
  Run(u"1 Required_Tests=all", [&](TestLibrary&) { ran = true; });
  EXPECT_EQ(Verdict(), u"ERROR");
  EXPECT_FALSE(ran);
  EXPECT_NE(Run(u"-l").find(u"Chassis asset tag  (does not apply"), std::u16string::npos);

  application_ends = false;
  Run(u"2");
  EXPECT_EQ(Verdict(), u"");
  application_ends = true;
  const std::u16string summary = Run(u"--summary");
  ExpectShown(
      summary,
      {u"loaded: 5\r\n", u"     0  Autosense                      PASS          0  ",
       u"    13  Chassis asset tag              SKIP          0  ",
       u"    13  Chassis asset tag              FAIL          1  ",
       u"     2  System product                 ERROR         0  ",
       u"test 13 does not apply (removed by test 0): No asset tag. Removing 13.\r\n",
       u"\r\nFAIL test 13 \"Chassis asset tag\":\r\n  No asset tag. Removing 13.\r\n  -> program what is missing, or take the test out of Required_Tests\r\nERROR test 1 ",
       u"\r\n  the test did not come to its end\r\nSUMMARY 1 passed, 1 failed, 2 errors, 1 skipped: FAIL\r\n"});
  Run(u"0");
  Run(u"13");
  EXPECT_EQ(Verdict(), u"PASS");
  const std::u16string second = Run(u"--summary");
  const std::u16string earlier = u"  (not counted)\r\n";
  std::size_t marked = 0;
  for (std::size_t at = 0; (at = second.find(earlier, at)) != second.npos; ++at) ++marked;
  EXPECT_EQ(marked, 5u);
  EXPECT_TRUE(second.ends_with(u"SUMMARY 2 passed, 0 failed, 0 errors, 0 skipped: PASS\r\n"));

  // A result that is required and missing; a new line that does not start.
  Run(u"13 \"Required_Results=UUID, Asset\"", [](TestLibrary& library) { library.SetResultNumber(u"Asset", 7); });
  EXPECT_TRUE(
      Run(u"--summary")
          .ends_with(
              u"\r\nFAIL required result missing or empty:\r\n  UUID\r\nSUMMARY 3 passed, 0 failed, 0 errors, 0 skipped: FAIL\r\n"));
  Run(u"0 HSBP=x");
  const std::u16string refused = Run(u"--summary");
  EXPECT_EQ(refused.find(u"Asset  "), refused.npos);
  EXPECT_TRUE(refused.ends_with(u"\r\nSUMMARY 0 passed, 0 failed, 1 errors, 0 skipped: ERROR\r\n"));
}

// A request that was not answered had to be repeated. The lines for rigs begin
// with their word, even where a colour change is written to the terminal.
TEST_F(DriverOnModernShell, TellsRigsInPlainLines) {
  ASSERT_EQ(Load(), EFI_SUCCESS);
  machine.system_table.ConOut->SetAttribute = [](SIMPLE_TEXT_OUTPUT_INTERFACE*, UINTN) EFIAPI {
    simulation::Machine::Current().console.written += u'\x1B';
    return EFI_STATUS{EFI_SUCCESS};
  };
  const std::u16string written = Run(u"43", [](TestLibrary& library) {
    for (int i = 0; i < 3; ++i) library.DebugPrint(16, u"\nSend IPMI Cmd to BMC: NetFn=0x%02x", UINTN{10});
    library.DebugPrint(16, u", RespData:0x");
    library.ReportError(31, u"\nbad\n");
  });
  EXPECT_NE(written.find(u"\r\nRESULT test 43 \"FRU end markers\": FAIL, 1 error, "), written.npos);
  EXPECT_TRUE(written.ends_with(u" s, 2 repeats\r\n")) << simulation::Readable(written);
  EXPECT_NE(Run(u"--summary").find(u"\r\nSUMMARY 0 passed, 1 failed,"), written.npos);
}

TEST_F(DriverOnModernShell, ConnectsControllersAndNamesBridges) {
  ASSERT_EQ(Load(), EFI_SUCCESS);
  constexpr EFI_GUID kDevice = EFI_SIMPLE_NETWORK_PROTOCOL_GUID;
  const std::size_t handles = machine.handles.Handles(nullptr).size();
  std::size_t connected = 0;
  machine.on_connect = [&](EFI_HANDLE) {
    if (++connected == 1) machine.handles.Install(kDevice, &connected);
  };
  // The application's own handle is one more.
  std::array<char16_t, 100> expected;
  FormatText(expected, "All controllers are connected: %lu handles, %lu before.\r\n", handles + 2, handles + 1);
  EXPECT_EQ(Run(u"--connect"), expected.data());
  EXPECT_EQ(connected, handles + 1);
  EXPECT_EQ(Verdict(), u"");

  platform::Bridge bridge{};
  platform::PutOnRecord(bridge, u"a table offered as another");
  EXPECT_NE(Run(u"--summary").find(u"  bridge: a table offered as another\r\n"), std::u16string::npos);
  platform::TakeOffRecord(bridge);
  EXPECT_EQ(Run(u"--summary").find(u"bridge:"), std::u16string::npos);
}

TEST_F(DriverOnModernShell, TracesOperationsInPieces) {
  ASSERT_EQ(Load(), EFI_SUCCESS);
  const std::u16string long_text(100, u'x');
  std::u16string written = Run(u"1 X_A=v -as -s0 --trace -d1", [&](TestLibrary& library) {
    std::array<char16_t, 4> text;
    library.GetParamString(u"X_A", text.data(), 8);
    library.GetParamString(u"X_B", text.data(), 8);
    library.DebugPrint(1, u"\n%s", long_text.c_str());
    library.ReadInput(text.data(), 4, 0);
    library.Delay(5);
    library.SetResultNumber(u"display.cfg:k", 3);
    library.ReportError(4, u"bad\n");
  });
  const std::u16string expected =
      u"@ Initialize -> 0 test 1\r\n@ GetParamString \"X_A\" 8 -> 0 \"v\"\r\n@ GetParamString \"X_B\" 8 -> 1\r\n"
      u"@ DebugPrint 1 \"\\n" +
      std::u16string(72 - 16, u'x') + u"\r\n@+" + std::u16string(100 - 72 + 16, u'x') +
      u"\"\r\n@ ReadInput 4 0 -> \"s\"\r\n@ Delay 5\r\n@ SetResultNumber \"display.cfg:k\" 3\r\n"
      u"@ ReportError 4 \"bad\\n\"\r\n@ EndTest\r\nRESULT test 1 \"System manufacturer\": FAIL, 1 error, ";
  EXPECT_EQ(simulation::Readable(written.substr(0, expected.size())), simulation::Readable(expected));
  written = Run(u"--trace");
  EXPECT_NE(written.find(u"\r\n@ Initialize -> 3\r\n@ EndTest\r\nRESULT test - "), written.npos);
}

TEST_F(DriverOnModernShell, BridgesAModernShell) {
  const std::size_t handles = machine.handles.Handles(nullptr).size();
  const std::size_t blocks = machine.memory.Outstanding();
  machine.variables.Add(u"MfgVerdict", simulation::TextData(u"PASS"));
  ASSERT_EQ(Load(), EFI_SUCCESS);
  Run(u"1", [&](TestLibrary&) {
    EXPECT_EQ(Verdict(), u"");
    auto* const environment = platform::FirstInterface<ShellEnvironment>(kShellEnvironmentProtocolGuid);
    EXPECT_EQ(environment->Execute(&image, u"set \"MFG\" \"A B\"", FALSE), EFI_SUCCESS);
    EXPECT_EQ(std::u16string(environment->GetEnv(u"MFG")), u"A B");
    EXPECT_EQ(environment->Execute(static_cast<EFI_HANDLE*>(image), u"set -d \"MFG\"", FALSE), EFI_SUCCESS);
    EXPECT_EQ(environment->GetEnv(u"MFG"), nullptr);
    EXPECT_EQ(environment->Execute(nullptr, u"ls fs0:", FALSE), EFI_INVALID_PARAMETER);
    EXPECT_EQ(environment->Execute(&image, nullptr, FALSE), EFI_INVALID_PARAMETER);
    EXPECT_EQ(environment->GetMap(u"fs0"), nullptr);
    EXPECT_EQ(environment->CurDir(u"fs0"), nullptr);
    EXPECT_EQ(environment->GetProt(nullptr, TRUE), nullptr);
    EXPECT_EQ(environment->AddCmd(nullptr, nullptr, nullptr), EFI_UNSUPPORTED);
    EXPECT_EQ(environment->FileMetaArg(u"*", nullptr), EFI_UNSUPPORTED);
    EXPECT_EQ(environment->FreeFileList(nullptr), EFI_UNSUPPORTED);
    environment->AddProt(nullptr, nullptr, nullptr, nullptr);
  });
  EXPECT_TRUE(shell.commands.empty());
  EXPECT_TRUE(machine.handles.Handles(&kShellInterfaceProtocolGuid).empty());

  // An application that ends without a word is cleared away at the next start,
  // and one that never comes to the library finds no verdict left.
  application_ends = false;
  for (int i = 0; i < 40; ++i) Run(u"1");
  EXPECT_EQ(status, EFI_SUCCESS);
  EXPECT_EQ(machine.handles.Handles(&kShellInterfaceProtocolGuid).size(), 1u);
  EXPECT_EQ(Verdict(), u"");

  EXPECT_EQ(loaded->Unload(), EFI_SUCCESS);
  EXPECT_EQ(machine.handles.Handles(nullptr).size(), handles);
  EXPECT_EQ(machine.memory.Outstanding(), blocks);
  Run(u"1");
  EXPECT_EQ(status, EFI_NOT_FOUND);
}

TEST_F(Driver, StaysOutOfTheWayOfAnOldShell) {
  simulation::OldShell old_shell(machine);
  ASSERT_EQ(Load(), EFI_SUCCESS);
  EXPECT_EQ(machine.handles.Handles(&kShellEnvironmentProtocolGuid).size(), 1u);
  old_shell.upper_half_of_argc = 0;
  RunOn(old_shell, u"1", Nothing);
  ASSERT_EQ(old_shell.commands.size(), 2u);
  EXPECT_EQ(old_shell.commands[0].line, u"set -d \"MfgVerdict\"");
  EXPECT_EQ(old_shell.commands[1].line, u"set -v \"MfgVerdict\" \"PASS\"");
  EXPECT_EQ(old_shell.commands[1].parent, image);
}

TEST_F(DriverOnModernShell, RefusesASecondLoad) {
  ASSERT_EQ(Load(), EFI_SUCCESS);
  const std::size_t blocks = machine.memory.Outstanding();
  EXPECT_EQ(LoadedDriver(machine, testlib_efi_main).status, EFI_ALREADY_STARTED);
  EXPECT_NE(machine.console.written.find(u"a test library is loaded already"), std::u16string::npos);
  EXPECT_EQ(machine.memory.Outstanding(), blocks);
  EXPECT_EQ(machine.handles.Handles(&kTestLibraryProtocolGuid).size(), 1u);
}

}  // namespace
