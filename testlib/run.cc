// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/run.h"

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/image.h"
#include "platform/shell.h"
#include "platform/status_text.h"
#include "testlib/flash_guard.h"
#include "testlib/line.h"
#include "testlib/output.h"
#include "testlib/parameter_table.h"
#include "testlib/required_results.h"
#include "testlib/required_tests.h"
#include "testlib/state.h"
#include "testlib/status.h"
#include "testlib/tests.h"

namespace testlib {

bool Refuse(const char16_t* error, const char16_t* symptom) {
  state->run.stage = Stage::kRefused;
  ++state->run.errors;
  KeepReason(state->run, error, nullptr);
  ShowError(u"ERROR: ", error);
  RecordError(symptom, error);
  return false;
}

namespace {

constexpr const char16_t* kVerdictVariable = u"MfgVerdict";
constexpr const char16_t* kDelayScaleParameter = u"Delay_Scale";

void SetVerdictVariable(EFI_HANDLE image, Verdict verdict) {
  const EFI_STATUS status =
      platform::SetShellVariable(image, kVerdictVariable, VerdictText(verdict), platform::VariableLife::kUntilReset);
  if (!EFI_ERROR(status)) return;
  // Better none than what a full store may have left of an earlier one.
  (void)ForgetVerdict(image);
  platform::StartLine();
  Say(Colour::kBad, "The shell variable %s could not be set: %s\n", kVerdictVariable,
      platform::StatusText(status).Text());
}

void CloseRun(Verdict verdict) {
  Run& run = state->run;
  run.hundredths = platform::Hundredths() - run.hundredths;
  if (run.stage == Stage::kRunning && !Tracing()) ShowRunResults();
  run.verdict = EndStep(verdict);
  SetVerdictVariable(state->module, run.verdict);
  ShowVerdict();
  Remember(state->history, run);
}

// What Autosense said about the system GUID is out of date once a new one was
// written: the test that reads it back applies again.
void ForgetRemovalAfter(const Run& run, Verdict verdict) {
  constexpr std::uint32_t kWriteGuid = 28;
  constexpr std::uint32_t kReadGuid = 14;
  if (run.test == kWriteGuid && verdict == Verdict::kPass) state->removed.tests[kReadGuid] = {};
}

// A module that never came to its EndTest did not pass, whatever it reported.
void RememberAbandonedRun() {
  if (state->run.stage != Stage::kRunning) return;
  state->run.reason[0] = 0;
  KeepReason(state->run, u"the test did not come to its end", nullptr);
  RecordError(u"test-not-finished", u"the test did not come to its end");
  state->run.verdict = EndStep(Verdict::kError);
  state->run.hundredths = platform::Hundredths() - state->run.hundredths;
  Remember(state->history, state->run);
}

TestLibraryStatus RefuseRun(const char16_t* error) {
  Refuse(error);
  return kCommandLineRefused;
}

bool RefuseFile(const char16_t* path, EFI_STATUS status) {
  ErrorText error;
  if (status == EFI_NOT_FOUND) {
    FormatText(error, "%s: there is no such file", path);
  } else if (status == EFI_BUFFER_TOO_SMALL) {
    FormatText(error, "%s: the file is larger than %lu bytes", path, kFileBytes);
  } else if (status == EFI_UNSUPPORTED) {
    FormatText(error, "%s: this is a folder, expected a file", path);
  } else {
    FormatText(error, "%s: the file cannot be read: %s", path, platform::StatusText(status).Text());
  }
  return Refuse(error.data());
}

// Refuses every parameter of the source that nobody can read, so that one run
// tells them all.
bool CheckParameters(std::uint16_t source) {
  bool are_good = true;
  for (const Parameter& parameter : state->parameters.All()) {
    ErrorText reason;
    if (parameter.origin.source != source) continue;
    if (CheckParameter(parameter.name.data(), parameter.value.data(), reason)) continue;
    ErrorText error;
    FormatText(error, "%s: %s = \"%s\": %s", OriginOf(parameter).data(), parameter.name.data(), parameter.value.data(),
               reason.data());
    are_good = Refuse(error.data());
  }
  return are_good;
}

bool LoadFile(std::uint16_t source) {
  const char16_t* const path = SourceName(state->command_line, source);
  std::size_t size = 0;
  const EFI_STATUS status = source == 0 ? platform::ReadFileBeside(state->module, path, state->file, &size)
                                        : platform::ReadFile(state->module, path, state->file, &size);
  if (source == 0 && status == EFI_NOT_FOUND) return true;
  if (EFI_ERROR(status)) return RefuseFile(path, status);
  std::uint32_t line = 0;
  ErrorText reason;
  const auto content = std::span(state->file).first(size);
  if (ReadParameterFile(content, source, state->parameters, &line, reason)) {
    // Nobody named this file, and it may be left from another machine.
    if (source == 0) Note("Parameters of %s beside the module count.\n", path);
    return CheckParameters(source);
  }
  ErrorText error;
  FormatText(error, "%s line %u: %s", path, line, reason.data());
  return Refuse(error.data());
}

// The command line's word wins over the parameter.
bool TakeDelayScale(ErrorText& error) {
  CommandLine& command_line = state->command_line;
  const Parameter* const scale = Find(state->parameters, kDelayScaleParameter);
  if (command_line.has_delay_scale || scale == nullptr) return true;
  if (ParseDelayScale(scale->value.data(), &command_line.delay_scale)) return true;
  FormatText(error, "%s (%s): expected 0 to 100 percent, found \"%s\"", kDelayScaleParameter, OriginOf(*scale).data(),
             scale->value.data());
  return false;
}

// What the line has asked for is answered.
void TakeAnswers() {
  for (Parameter& parameter : state->parameters.All()) {
    if (!IsAsked(parameter.value.data())) continue;
    const Parameter* const answer = FindLineAnswer(parameter.name.data());
    if (answer != nullptr) parameter.value = answer->value;
  }
}

bool LoadParameters() {
  state->parameters.count = 0;
  for (std::size_t source = 0; source <= state->command_line.files.count; ++source) {
    if (!LoadFile(static_cast<std::uint16_t>(source))) return false;
  }
  ErrorText error;
  if (!DefineFromCommandLine(state->command_line, state->parameters, error)) return Refuse(error.data());
  if (!CheckParameters(Origin::kCommandLine)) return false;
  TakeAnswers();
  return TakeDelayScale(error) || Refuse(error.data());
}

TestLibraryStatus ConnectControllers() {
  std::size_t before = 0;
  std::size_t after = 0;
  if (const EFI_STATUS status = platform::ConnectAllControllers(&before, &after); EFI_ERROR(status)) {
    ErrorText error;
    FormatText(error, "the controllers could not be connected: %s", platform::StatusText(status).Text());
    return RefuseRun(error.data());
  }
  Note("All controllers are connected: %lu handles, %lu before.\n", after, before);
  state->run.stage = Stage::kNothingToRun;
  return kNothingToRun;
}

TestLibraryStatus ShowInstead(Action action) {
  state->run.stage = Stage::kNothingToRun;
  switch (action) {
    case Action::kShowParameters:
      if (state->run.has_test) {
        ShowParametersOf(state->run.test);
      } else {
        ShowParameters();
      }
      break;
    case Action::kListTests:
      ShowTests();
      break;
    case Action::kShowSummary:
      ShowSummary();
      break;
    default:
      platform::Write(kHelpText);
  }
  return kNothingToRun;
}

// A script that reads an old verdict would take it for this run's.
bool RequireNoVerdict(EFI_STATUS removed) {
  if (!EFI_ERROR(removed)) return true;
  ErrorText error;
  FormatText(error, "the verdict of an earlier run, %s, cannot be removed: %s. Delete it in the shell: set -d %s",
             kVerdictVariable, platform::StatusText(removed).Text(), kVerdictVariable);
  return Refuse(error.data());
}

bool IsRequired(std::uint32_t test) {
  const Parameter* const list = Find(state->parameters, kRequiredTestsParameter);
  bool required = false;
  ErrorText error;
  // That it is a list of tests was found out when it was read.
  return list != nullptr && FindInTestList(list->value.data(), test, &required, error) && required;
}

TestLibraryStatus LeaveOut(const RemovedTests::Removal& removal, bool required) {
  Run& run = state->run;
  ErrorText error;
  FormatText(error, "test %u has to apply to this machine: %s names it", run.test, kRequiredTestsParameter);
  run.stage = required ? Stage::kMustApply : Stage::kDoesNotApply;
  RecordRemoval(removal.reason.data(), required ? error.data() : nullptr);
  Note("Test %u does not apply to this machine (removed by test %u): %s\n", run.test, removal.by,
       removal.reason.data());
  if (required) {
    run.errors = 1;
    KeepReason(run, removal.reason.data(), u"program what is missing, or take the test out of Required_Tests");
    ShowError(u"ERROR: ", error.data());
  }
  return kDoesNotApply;
}

constexpr unsigned kDebuggerSeconds = 60;

// An image lies wherever the firmware has put it, and the debugger cannot ask.
void AwaitDebugger(EFI_HANDLE module) {
  const EFI_LOADED_IMAGE* const image = platform::LoadedImage(module);
  if (image == nullptr) return;
  Say(Colour::kNotice, "In gdb: add-symbol-file build/image/mfgtest.so -o 0x%lx\nA key starts the test, or a minute.\n",
      reinterpret_cast<std::uint64_t>(image->ImageBase));
  char16_t key = 0;
  for (unsigned waited = 0; waited < kDebuggerSeconds * 10 && !platform::PollKey(&key); ++waited) {
    platform::Wait(100'000);
  }
}

TestLibraryStatus Begin(TestDescriptor& descriptor) {
  Run& run = state->run;
  const bool required = IsRequired(run.test);
  if (!RequireResults(state->parameters, state->results)) {
    return RefuseRun(u"there is no room for so many required results");
  }
  if (const RemovedTests::Removal* const removal = FindRemoval(state->removed, run.test); removal != nullptr) {
    return LeaveOut(*removal, required);
  }
  ErrorText error;
  if (!MayWriteFlash(run.test, state->parameters, error)) return RefuseRun(error.data());
  run.stage = Stage::kRunning;
  descriptor.SelectedTest = run.test;
  BeginStep();
  Note("Test %u \"%s\", module version %a\n", run.test, TitleOf(run.test), descriptor.Version);
  if (state->command_line.delay_scale != kWholePercent) {
    Note("Waits are cut to %u percent: for simulated machines only.\n", state->command_line.delay_scale);
  }
  if (state->command_line.gdb) AwaitDebugger(state->module);
  return kTestLibrarySuccess;
}

// Autosense looks at the machine anew, whether it can start or not.
void BeginLine() {
  state->removed = {};
  state->results.count = 0;
}

TestLibraryStatus PrepareTest(TestDescriptor& descriptor, EFI_STATUS verdict_removed) {
  if (!RequireNoVerdict(verdict_removed) || !LoadParameters()) return kCommandLineRefused;
  return Begin(descriptor);
}

TestLibraryStatus Prepare(TestDescriptor& descriptor, EFI_STATUS verdict_removed) {
  ErrorText error{};
  const std::span arguments(descriptor.Argv, descriptor.Argc);
  CommandLine& command_line = state->command_line;
  const bool is_good = ReadCommandLine(arguments, command_line, error);
  const bool runs_test = command_line.action == Action::kRunTest;
  state->run.has_test = command_line.has_test;
  state->run.test = command_line.test;
  if (runs_test && command_line.has_test && command_line.test == kAutosense) BeginLine();
  if (!is_good) return RefuseRun(error.data());
  if (runs_test) return PrepareTest(descriptor, verdict_removed);
  if (command_line.action == Action::kConnect) return ConnectControllers();
  if (command_line.action == Action::kShowParameters && !LoadParameters()) return kCommandLineRefused;
  return ShowInstead(command_line.action);
}

}  // namespace

TestLibraryStatus StartRun(TestDescriptor& descriptor) {
  RememberAbandonedRun();
  state->run = {};
  state->run.hundredths = platform::Hundredths();
  state->module = descriptor.ImageHandle;
  state->parameters.count = 0;
  state->answers_used = 0;
  state->message[0] = 0;
  PrepareRecord(descriptor);
  const TestLibraryStatus status = Prepare(descriptor, ForgetVerdict(state->module));
  // A module may report the refusal as a debug message; the operator knows.
  if (status != kTestLibrarySuccess) state->command_line.debug_mask = 0;
  return status;
}

bool ReadParameters(EFI_HANDLE module, std::span<const char16_t* const> arguments) {
  state->module = module;
  state->answers_used = 0;
  ErrorText error;
  if (!ReadCommandLine(arguments, state->command_line, error)) return Refuse(error.data());
  return LoadParameters();
}

void BreakRun(const char16_t* reason) {
  Refuse(reason, u"test-not-finished");
  FinishRun();
}

void FinishRun() {
  EndInterface(state->bridge, state->module);
  const Verdict verdict = Judge(state->run);
  ForgetRemovalAfter(state->run, verdict);
  if (verdict != Verdict::kNone) CloseRun(verdict);
  state->run = {};
}

EFI_STATUS ForgetVerdict(EFI_HANDLE image) {
  const EFI_STATUS status =
      platform::SetShellVariable(image, kVerdictVariable, u"", platform::VariableLife::kUntilReset);
  return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
}

}  // namespace testlib
