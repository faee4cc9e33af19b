// SPDX-License-Identifier: BSD-2-Clause-Patent
// The stick's own application: power on, scan, one answer.
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/format.h"
#include "platform/handles.h"
#include "platform/image.h"
#include "platform/protocols/ipmi_transport.h"
#include "platform/protocols/line_run.h"
#include "platform/protocols/shell.h"
#include "platform/protocols/shell_interface.h"
#include "platform/reset.h"
#include "platform/say.h"
#include "platform/screens.h"
#include "platform/shell.h"
#include "platform/station_version.h"
#include "platform/status_text.h"
#include "platform/watchdog.h"
#include "start/hang_guard.h"
#include "start/last_screen.h"

namespace start {
namespace {

using platform::Colour;
using platform::Say;

constexpr const char16_t* kVersion = u"" STATION_VERSION;
constexpr const char16_t* kModule = u"mfgtest.efi";
constexpr const char16_t* kDump = u"dump.efi";
constexpr const char16_t* kVerdictVariable = u"MfgLineVerdict";
constexpr char16_t kControlC = 3;

constexpr const char16_t* kHelpText =
    u"start.efi [stop] [write] [options] [NAME=VALUE]...\n"
    u"Runs the line: the tests of Line_Tests in mfgtest.cfg, one answer at the end.\n"
    u"  stop     ends at the first test that does not pass; else the line goes on\n"
    u"  write    also runs the tests that program something: 28, 31 and 32\n"
    u"Options and NAME=VALUE are those of mfgtest.efi, and count for every test:\n"
    u"  start.efi stop -d 1 -f order.cfg System_Serial_Number=SN-0000001\n"
    u"Escape or Ctrl-C ends the line after the running test.\n"
    u"It loads smbios_entry.efi, testlib.efi and ipmi_kcs.efi from its own folder; as\n"
    u"\\EFI\\BOOT\\BOOTX64.EFI, by which a machine boots the drive, from the root.\n"
    u"The shell variable MfgLineVerdict holds PASS, FAIL or ERROR afterwards.\n";

// Words from whoever started this program; a firmware gives none.
struct Words {
  static constexpr std::size_t kMost = 160;
  std::array<const char16_t*, kMost> words;
  std::size_t count;
};

struct Session {
  EFI_HANDLE self;
  Path folder;
  Path module;
  Words words;
  bool has_shell;
  std::array<char16_t, 160> note;
  // What is shown where testlib has no report.
  LineReport report;
  LineFailure failure;
  std::array<char16_t, 256> message;
  std::array<char16_t, 300> summary;
};

constinit Session session{};

void TakeWords() {
  ShellParameters* parameters = nullptr;
  ShellInterface* old_interface = nullptr;
  std::span<const char16_t* const> given;
  if (!EFI_ERROR(platform::HandleInterface(session.self, kShellParametersProtocolGuid, &parameters))) {
    given = {reinterpret_cast<const char16_t* const*>(parameters->Argv), parameters->Argc};
  } else if (!EFI_ERROR(platform::HandleInterface(session.self, kShellInterfaceProtocolGuid, &old_interface))) {
    // An EFI 1.x shell fills the lower half of it only.
    given = {old_interface->Argv, static_cast<std::uint32_t>(old_interface->Argc)};
  }
  session.has_shell = !given.empty();
  Words& words = session.words;
  words.words[words.count++] = session.module.data();
  for (const char16_t* const word : given.subspan(given.empty() ? 0 : 1)) {
    // A script hands on what it was not given as nothing.
    if (*word != 0 && words.count < Words::kMost) words.words[words.count++] = word;
  }
}

bool AsksForHelp() {
  for (const char16_t* const word : std::span(session.words.words).first(session.words.count)) {
    const std::u16string_view text = word;
    if (text == u"-h" || text == u"--help" || text == u"help" || text == u"-?") return true;
  }
  return false;
}

// The line could not begin or go on, and testlib is not there to tell.
const LineReport* Fail(const char16_t* message) {
  Session& s = session;
  FormatText(s.message, "%s", message);
  Say(Colour::kBad, "ERROR: %s\n", s.message.data());
  FormatText(s.summary, "SUMMARY %s: ERROR", s.message.data());
  s.failure = {.Test = u"", .Message = s.message.data(), .WhatToDo = u""};
  s.report = {.Verdict = u"ERROR",
              .Summary = s.summary.data(),
              .Unit = u"",
              .Record = u"",
              .Remark = u"",
              .FailureCount = 1,
              .Failures = &s.failure,
              .After = AfterLine::kUnsaid,
              .DumpsMachine = false};
  return &s.report;
}

template <class... Args>
const LineReport* Fail(Format<Args...> format, const Args&... arguments) {
  std::array<char16_t, 256> text;
  FormatText(text, format, arguments...);
  return Fail(text.data());
}

// Keys that come while a test runs wait until it is over; others are nobody's.
bool OperatorEndsLine() {
  bool ends = false;
  for (char16_t key = 0; platform::PollKey(&key);) ends = ends || key == platform::kEscape || key == kControlC;
  return ends;
}

template <class... Args>
void Break(LineRun* line, Format<Args...> format, const Args&... arguments) {
  std::array<char16_t, 256> text;
  FormatText(text, format, arguments...);
  line->Break(text.data());
}

// Gives false when the drive does not take it; one that takes nothing at all is
// a choice of the station.
bool NoteRunning(LineRun* line, const LineTest& test) {
  const EFI_STATUS status = WriteRunningTest(session.self, session.folder, test.Number, test.Title);
  if (!EFI_ERROR(status)) return true;
  if (status == EFI_WRITE_PROTECTED) {
    FormatText(session.note, "The drive is write-protected: a test that hangs would start again.");
    return true;
  }
  Break(line, "%s cannot be written: %s. The drive was pulled, or is full.", kRunningFile,
        platform::StatusText(status).Text());
  return false;
}

void RunTest(LineRun* line, const LineTest& test) {
  if (!NoteRunning(line, test)) return;
  EFI_HANDLE module = nullptr;
  EFI_STATUS status = platform::LoadImageFile(session.self, session.module.data(), &module);
  if (EFI_ERROR(status)) return Break(line, "%s is not loaded: %s.", kModule, ReasonOf(status).data());
  ShellParameters parameters{};
  parameters.Argv = reinterpret_cast<CHAR16**>(const_cast<char16_t**>(test.Argv));
  parameters.Argc = test.Argc;
  // The bridge in testlib answers to it with what the module binds to.
  status = platform::InstallInterface(&module, kShellParametersProtocolGuid, &parameters);
  if (!EFI_ERROR(status)) {
    platform::SetWatchdog(test.Seconds);
    status = platform::StartLoadedImage(module);
    platform::SetWatchdog(0);
    platform::UninstallInterface(module, kShellParametersProtocolGuid, &parameters);
  }
  platform::UnloadImage(module);
  line->Ended(status);
}

void RunTests(LineRun* line) {
  while (const LineTest* const test = line->Next()) {
    if (OperatorEndsLine()) return Break(line, "the operator ended the line");
    RunTest(line, *test);
  }
}

// Reads the order and asks the operator.
bool BeginLine(LineRun* line) {
  EFI_HANDLE module = nullptr;
  const EFI_STATUS status = platform::LoadImageFile(session.self, session.module.data(), &module);
  if (EFI_ERROR(status)) {
    line->Begin(nullptr, nullptr, 0);
    Break(line, "%s is not loaded: %s.", kModule, ReasonOf(status).data());
    return false;
  }
  const EFI_STATUS begun = line->Begin(module, session.words.words.data(), session.words.count);
  platform::UnloadImage(module);
  return !EFI_ERROR(begun);
}

const LineReport* RunLine() {
  const Session& s = session;
  LineRun* line = platform::FirstInterface<LineRun>(kLineRunProtocolGuid);
  if (line == nullptr) {
    LoadDriver(s.self, s.folder, u"testlib.efi", u"");
    line = platform::FirstInterface<LineRun>(kLineRunProtocolGuid);
  }
  if (line == nullptr) return Fail("testlib.efi is not loaded, and no test runs without it");
  std::size_t before = 0;
  std::size_t after = 0;
  // Without it the tests say what they miss.
  (void)platform::ConnectAllControllers(&before, &after);
  // The boot manager's own would go off while the operator looks for the scanner.
  platform::SetWatchdog(0);
  if (BeginLine(line)) {
    if (platform::FirstInterface(kIpmiTransportProtocolGuid) == nullptr) {
      LoadDriver(s.self, s.folder, u"ipmi_kcs.efi", line->IpmiOptions());
    }
    RunTests(line);
  }
  return line->End();
}

// Whether a word of the line tells dump.efi of a parameter, or of a file of them
// whose path may be the next word.
bool TellsOfParameters(std::u16string_view word, std::u16string_view before) {
  const bool is_option = word.starts_with(u'-');
  return word.starts_with(u"-f") || word.starts_with(u"--file") || before == u"-f" || before == u"--file" ||
         (!is_option && word.find(u'=') != word.npos);
}

// What the machine was like that did not pass, for whoever looks for the reason.
void DumpMachine() {
  std::array<const char16_t*, Words::kMost> words{kDump};
  std::size_t count = 1;
  const auto given = std::span(session.words.words).first(session.words.count);
  for (std::size_t i = 1; i < given.size(); ++i) {
    if (TellsOfParameters(given[i], given[i - 1])) words[count++] = given[i];
  }
  EFI_HANDLE image = nullptr;
  EFI_STATUS status = platform::LoadImageFile(session.self, PathIn(session.folder, kDump).data(), &image);
  if (EFI_ERROR(status)) {
    FormatText(session.note, "%s is not loaded: %s.", kDump, ReasonOf(status).data());
    return;
  }
  ShellParameters parameters{};
  parameters.Argv = reinterpret_cast<CHAR16**>(const_cast<char16_t**>(words.data()));
  parameters.Argc = count;
  status = platform::InstallInterface(&image, kShellParametersProtocolGuid, &parameters);
  if (!EFI_ERROR(status)) {
    status = platform::StartLoadedImage(image);
    platform::UninstallInterface(image, kShellParametersProtocolGuid, &parameters);
  }
  platform::UnloadImage(image);
  FormatText(session.note, "%s",
             EFI_ERROR(status) ? u"dump.efi could not write what this machine is like."
                               : u"What this machine is like lies in the folder dump.");
}

// Removes the verdict of the line before, which must not be taken for that of
// this one.
bool ForgetVerdict() {
  platform::SetShellVariable(session.self, kVerdictVariable, u"", platform::VariableLife::kUntilReset);
  return !platform::HasShellVariable(kVerdictVariable);
}

void LeaveVerdict(const char16_t* verdict) {
  const EFI_STATUS status =
      platform::SetShellVariable(session.self, kVerdictVariable, verdict, platform::VariableLife::kUntilReset);
  if (!EFI_ERROR(status)) return;
  Say(Colour::kBad, "The shell variable %s could not be set: %s\n", kVerdictVariable,
      platform::StatusText(status).Text());
}

// A line that hung does not start again by itself.
void TellOfHungTest() {
  RunningTest test;
  if (!FindRunningTest(session.self, session.folder, test)) return;
  platform::SetWatchdog(0);
  platform::FindScreens();
  const LineReport* const report =
      Fail("test %s did not come back: the machine was reset, or lost its power, while it ran", test.data());
  ShowLastScreen({.report = report, .hundredths = 0, .note = u"", .closing = u"Press a key to start the line again."});
  platform::ReadKey();
}

void ForgetHungTest() {
  const EFI_STATUS status = ForgetRunningTest(session.self, session.folder);
  if (!EFI_ERROR(status) || status == EFI_WRITE_PROTECTED) return;
  FormatText(session.note, "%s stays on the drive (%s): the next start from it waits for a key.", kRunningFile,
             platform::StatusText(status).Text());
}

[[noreturn]] void Stay() {
  while (true) platform::ReadKey();
}

void EndAs(AfterLine after) {
  if (after == AfterLine::kUnsaid) after = session.has_shell ? AfterLine::kExit : AfterLine::kStay;
  if (after == AfterLine::kOff) platform::PowerOff();
  if (after == AfterLine::kReboot) platform::Restart();
  if (after != AfterLine::kExit) Stay();
}

const LineReport* RunFromFolder() {
  const Session& s = session;
  TellOfHungTest();
  const EFI_HANDLE entries = LoadDriver(s.self, s.folder, u"smbios_entry.efi", u"");
  const LineReport* const report = RunLine();
  platform::SetWatchdog(0);
  ForgetHungTest();
  // As the tests saw it, bridges and all.
  if (report->DumpsMachine) DumpMachine();
  if (entries != nullptr) platform::UnloadImage(entries);
  return report;
}

const LineReport* Run(bool has_folder) {
  if (!has_folder) return Fail("start.efi did not come from a drive, and the images beside it are missing");
  if (ForgetVerdict()) return RunFromFolder();
  return Fail("the shell variable %s of an earlier line cannot be removed", kVerdictVariable);
}

}  // namespace
}  // namespace start

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  using namespace start;
  platform::InitializeImage(image, system_table);
  session = {};
  session.self = image;
  const bool has_folder = FindFolder(image, session.folder);
  session.module = PathIn(session.folder, kModule);
  TakeWords();
  if (AsksForHelp()) {
    platform::Write(kHelpText);
    return EFI_SUCCESS;
  }
  platform::CalibrateClock();
  const std::uint64_t begun = platform::Hundredths();
  Say(Colour::kNormal, "start %s\n", kVersion);
  if (IsSecureBootOn()) platform::Write(u"Secure Boot is on\n");
  const LineReport* const report = Run(has_folder);
  LeaveVerdict(report->Verdict);
  platform::FindScreens();
  ShowLastScreen({.report = report,
                  .hundredths = platform::Hundredths() - begun,
                  .note = session.note.data(),
                  .closing = u"The drive may be pulled."});
  EndAs(report->After);
  return EFI_SUCCESS;
}
