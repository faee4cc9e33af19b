// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/line.h"

#include "platform/clock.h"
#include "platform/collation.h"
#include "platform/screens.h"
#include "platform/status_text.h"
#include "platform/watchdog.h"
#include "testlib/asking.h"
#include "testlib/output.h"
#include "testlib/parameter_table.h"
#include "testlib/required_results.h"
#include "testlib/required_tests.h"
#include "testlib/run.h"
#include "testlib/state.h"
#include "testlib/tests.h"
#include "testlib/text_part.h"

namespace testlib {
namespace {

constexpr const char16_t* kTestsParameter = u"Line_Tests";
constexpr const char16_t* kTimeoutParameter = u"Test_Timeout";
constexpr const char16_t* kAfterParameter = u"After_Line";
constexpr const char16_t* kDumpParameter = u"Dump_On_Failure";
constexpr const char16_t* kIpmiOptionsParameter = u"Ipmi_Kcs_Options";
constexpr std::uint32_t kUsualTimeout = 60;  // seconds
constexpr std::uint32_t kLongestTimeout = 24 * 60 * 60;

// No test waits longer, whatever it meets.
constexpr std::uint64_t kMostWaits = 10 * 60 * 1000;  // milliseconds

constexpr struct {
  std::u16string_view word;
  AfterLine after;
} kAfterWords[] = {
    {u"stay", AfterLine::kStay},
    {u"off", AfterLine::kOff},
    {u"reboot", AfterLine::kReboot},
    {u"exit", AfterLine::kExit},
};

const char16_t* ValueOf(const char16_t* name) {
  const Parameter* const parameter = Find(state->parameters, name);
  return parameter == nullptr ? nullptr : parameter->value.data();
}

std::span<const std::uint32_t> Listed() { return std::span(state->line_run.tests).first(state->line_run.count); }

bool IsListed(std::uint32_t test) { return std::ranges::find(Listed(), test) != Listed().end(); }

void List(std::uint32_t test) {
  LineState& line = state->line_run;
  if (!IsListed(test)) line.tests[line.count++] = test;
}

bool TakeWords(std::span<const char16_t* const> words) {
  LineState& line = state->line_run;
  line.arguments[0] = words.empty() ? u"" : words.front();
  line.arguments[1] = line.number.data();
  line.argument_count = 2;
  for (const char16_t* const word : words.subspan(words.empty() ? 0 : 1)) {
    const std::u16string_view text = word;
    if (text == u"stop") {
      line.stops = true;
    } else if (text == u"write") {
      line.writes = true;
    } else if (line.argument_count == line.arguments.size()) {
      return false;
    } else {
      line.arguments[line.argument_count++] = word;
    }
  }
  return true;
}

// A test that writes runs where the order says so: by `write`, or by a list that
// names it alone. A range may be wider than it was meant.
bool ListRange(std::uint32_t first, std::uint32_t last, ErrorText& error) {
  if (first == last && FindTest(first) == nullptr) {
    FormatText(error, "%s: there is no test %u. mfgtest.efi --list shows the tests.", kTestsParameter, first);
    return false;
  }
  for (const TestRow& test : Tests()) {
    if (test.number < first || test.number > last) continue;
    if (test.Writes() && first != last) {
      FormatText(error, "%s: the range %u-%u holds test %u, which writes. Name it by itself, or leave it out.",
                 kTestsParameter, first, last, test.number);
      return false;
    }
    List(test.number);
  }
  return true;
}

// Autosense comes first, and what is written is verified by the tests behind it.
bool ListTests(ErrorText& error) {
  const char16_t* const given = ValueOf(kTestsParameter);
  std::u16string_view list = given == nullptr ? u"" : given;
  bool has_autosense = false;
  if (!FindInTestList(list, kAutosense, &has_autosense, error)) return false;
  if (given == nullptr || has_autosense) List(kAutosense);
  for (const TestRow& test : Tests()) {
    if (test.Writes() && state->line_run.writes) List(test.number);
  }
  for (const TestRow& test : Tests()) {
    if (given == nullptr && test.IsInLine()) List(test.number);
  }
  std::uint32_t first = 0;
  std::uint32_t last = 0;
  for (bool found = true; TakeRange(list, &first, &last, &found, error) && found;) {
    if (!ListRange(first, last, error)) return false;
  }
  return true;
}

bool CheckRequired(ErrorText& error) {
  const char16_t* const list = ValueOf(kRequiredTestsParameter);
  for (const TestRow& test : Tests()) {
    bool required = false;
    if (!FindInTestList(list == nullptr ? u"" : list, test.number, &required, error)) return false;
    if (!required || IsListed(test.number)) continue;
    FormatText(error, "%s names test %u, which the line does not run. Name it in %s, too, or leave it out.",
               kRequiredTestsParameter, test.number, kTestsParameter);
    return false;
  }
  return true;
}

bool TakeTimeout(ErrorText& error) {
  state->line_run.timeout = kUsualTimeout;
  const char16_t* const value = ValueOf(kTimeoutParameter);
  if (value == nullptr) return true;
  if (ParseNumber(value, &state->line_run.timeout) && state->line_run.timeout <= kLongestTimeout) return true;
  FormatText(error, "%s: expected seconds, at most %u, found \"%s\"", kTimeoutParameter, kLongestTimeout, value);
  return false;
}

bool TakeAfter(ErrorText& error) {
  const char16_t* const value = ValueOf(kAfterParameter);
  if (value == nullptr) return true;
  for (const auto& row : kAfterWords) {
    if (row.word == value) state->line_run.after = row.after;
  }
  if (state->line_run.after != AfterLine::kUnsaid) return true;
  FormatText(error, "%s: expected stay, off, reboot or exit, found \"%s\"", kAfterParameter, value);
  return false;
}

bool AskAll() {
  LineState& line = state->line_run;
  ErrorText error;
  for (Parameter& parameter : state->parameters.All()) {
    if (!IsAsked(parameter.value.data())) continue;
    if (line.answer_count == line.answers.size()) return Refuse(u"there are too many values to ask for");
    if (!Ask(parameter)) {
      FormatText(error, "%s was not answered", parameter.name.data());
      return Refuse(error.data());
    }
    line.answers[line.answer_count++] = parameter;
  }
  return true;
}

void Remark() {
  LineState& line = state->line_run;
  if (state->command_line.delay_scale == kWholePercent) return;
  FormatText(line.remark, "Waits were cut to %u percent: for simulated machines only.",
             state->command_line.delay_scale);
}

// Which tests, how long, and what comes after them.
bool Plan() {
  ErrorText error;
  const bool is_good = TakeTimeout(error) && TakeAfter(error) && ListTests(error) && CheckRequired(error);
  return is_good || Refuse(error.data());
}

bool Prepare(EFI_HANDLE module, std::span<const char16_t* const> words) {
  LineState& line = state->line_run;
  FormatText(line.number, "%u", kAutosense);
  if (!TakeWords(words)) return Refuse(u"there are too many words");
  if (!ReadParameters(module, std::span(line.arguments).first(line.argument_count))) return false;
  if (state->command_line.action != Action::kRunTest) {
    return Refuse(u"a line runs tests. Give options that show something to mfgtest.efi.");
  }
  if (!Plan()) return false;
  if (const char16_t* const options = ValueOf(kIpmiOptionsParameter)) FormatText(line.ipmi_options, "%s", options);
  Remark();
  return AskAll();
}

void EFIAPI Break(const char16_t* reason) {
  LineState& line = state->line_run;
  if (!line.is_broken) FormatText(line.reason, "%s", reason);
  line.is_broken = true;
  ShowError(u"ERROR: ", reason);
  RecordError(u"line-broken", reason);
}

EFI_STATUS EFIAPI Begin(EFI_HANDLE module, const char16_t* const* words, UINTN count) {
  LineState& line = state->line_run;
  line = {};
  line.is_open = true;
  StartLine(state->history);
  state->results.count = 0;
  state->removed = {};
  state->run = {};
  platform::FindScreens();
  line.is_broken = !Prepare(module, {words, count});
  if (line.is_broken) FormatText(line.reason, "%s", state->run.reason.data());
  state->run = {};
  BeginLineRecord(module, {words, count});
  if (line.is_broken) RecordError(u"refused", line.reason.data());
  return line.is_broken ? EFI_ABORTED : EFI_SUCCESS;
}

const char16_t* EFIAPI IpmiOptions() { return state->line_run.ipmi_options.data(); }

std::uint64_t Scaled(std::uint64_t milliseconds) {
  return milliseconds * state->command_line.delay_scale / kWholePercent;
}

std::uint64_t KnownWaits(std::uint32_t number) {
  const TestRow* const test = FindTest(number);
  return test == nullptr ? 0 : Scaled(test->waits);
}

void ShowProgress() {
  LineState& line = state->line_run;
  std::uint64_t left = 0;
  for (const std::uint32_t test : Listed().subspan(line.next - 1)) left += KnownWaits(test);
  // A test that waits longer than is known takes nothing from the next ones.
  left -= std::min(KnownWaits(line.test.Number), line.waited);
  const std::uint64_t seconds = (left + 999) / 1000;
  if (seconds == line.shown_seconds) return;
  line.shown_seconds = seconds;
  std::array<char16_t, 80> text;
  FormatText(text, "[%lu/%lu] %u %s ... %lu s left", line.next, line.count, line.test.Number, line.test.Title, seconds);
  platform::ShowStatusLine(text.data());
}

const LineTest* EFIAPI Next() {
  LineState& line = state->line_run;
  const bool has_failed = state->history.line.Of(Verdict::kFail) != 0 || state->history.line.Of(Verdict::kError) != 0;
  if (line.is_broken || line.next == line.count || (line.stops && has_failed)) return nullptr;
  const std::uint32_t number = line.tests[line.next++];
  FormatText(line.number, "%u", number);
  line.runs_before = state->history.count;
  line.waited = 0;
  line.shown_seconds = UINT64_MAX;
  const auto waits = static_cast<std::uint32_t>((KnownWaits(number) + 999) / 1000);
  line.test = {.Number = number,
               .Title = TitleOf(number),
               .Argc = line.argument_count,
               .Argv = line.arguments.data(),
               .Seconds = line.timeout == 0 ? 0 : waits + line.timeout};
  ShowProgress();
  return &line.test;
}

void EFIAPI Ended(EFI_STATUS status) {
  LineState& line = state->line_run;
  platform::HideStatusLine();
  ++line.ended;
  line.test.Seconds = 0;
  if (state->run.stage == Stage::kRunning) return BreakRun(u"the module did not come to the end of the test");
  if (state->history.count != line.runs_before) return;
  std::array<char16_t, 160> reason;
  FormatText(reason, "the module ended before it began the test: %s", platform::StatusText(status).Text());
  state->run = {};
  state->run.has_test = true;
  state->run.test = line.test.Number;
  state->run.hundredths = platform::Hundredths();
  BreakRun(reason.data());
}

void AddFailure(const char16_t* message, const char16_t* what_to_do) {
  LineState& line = state->line_run;
  const std::size_t index = line.report.FailureCount++;
  line.failures[index] = {line.failed_tests[index].data(), message, what_to_do == nullptr ? u"" : what_to_do};
}

bool HasRoom() { return state->line_run.report.FailureCount < LineState::kFailures; }

void AddFailures() {
  LineState& line = state->line_run;
  if (line.is_broken) AddFailure(line.reason.data(), nullptr);
  const auto runs = state->history.Kept();
  for (std::uint32_t i = state->history.line_start; i < runs.size() && HasRoom(); ++i) {
    if (runs[i].verdict != Verdict::kFail && runs[i].verdict != Verdict::kError) continue;
    FormatText(line.failed_tests[line.report.FailureCount], "%u %s", runs[i].test, TitleOf(runs[i].test));
    AddFailure(runs[i].reason.data(), runs[i].advice);
  }
  // A line that broke off has not come to publish them all.
  const bool is_complete = !line.is_broken && line.ended == line.count;
  for (const Result& result : state->results.All()) {
    if (!is_complete || !IsMissing(result) || !HasRoom()) continue;
    FormatText(line.failed_tests[line.report.FailureCount], "required result missing or empty");
    AddFailure(result.key.data(), u"look at the test that reads it, or take it out of Required_Results");
  }
}

// The serial number that was given, or else what Autosense found.
void NameUnit() {
  constexpr const char16_t* kSerialNumber = u"System_Serial_Number";
  LineState& line = state->line_run;
  if (const Parameter* const answer = FindLineAnswer(kSerialNumber)) {
    FormatText(line.unit, "%s", answer->value.data());
    return;
  }
  for (const Result& result : state->results.All()) {
    if (std::u16string_view(result.key.data()) == kSerialNumber) FormatText(line.unit, "%s", result.value.data());
  }
}

void WriteSummary(Verdict verdict) {
  LineState& line = state->line_run;
  const Tally& tally = state->history.line;
  std::array<char16_t, 40> left_out{};
  std::array<char16_t, 40> cut{};
  if (line.ended < line.count) FormatText(left_out, ", %lu not run", line.count - line.ended);
  const std::uint32_t percent = state->command_line.delay_scale;
  if (line.remark[0] != 0) FormatText(cut, ", waits at %u percent", percent);
  FormatText(line.summary, "SUMMARY %u passed, %u failed, %u errors, %u skipped%s%s: %s", tally.Of(Verdict::kPass),
             tally.Of(Verdict::kFail), tally.Of(Verdict::kError), tally.Of(Verdict::kSkip), left_out.data(), cut.data(),
             VerdictText(verdict));
}

void RecordMissingResults() {
  for (const Result& result : state->results.All()) {
    if (IsMissing(result)) RecordMissingResult(result.key.data());
  }
}

bool WantsDump() {
  const char16_t* const value = ValueOf(kDumpParameter);
  return value != nullptr && platform::EqualIgnoringCase(value, u"yes");
}

const LineReport* EFIAPI End() {
  LineState& line = state->line_run;
  platform::HideStatusLine();
  const Verdict judged = line.is_broken ? Verdict::kError : JudgeLine(state->history.line, state->results);
  RecordMissingResults();
  const Verdict verdict = EndRecord(judged);
  ShowRuns();
  NameUnit();
  WriteSummary(verdict);
  line.report = {.Verdict = VerdictText(verdict),
                 .Summary = line.summary.data(),
                 .Unit = line.unit.data(),
                 .Record = RecordPath(),
                 .Remark = line.remark.data(),
                 .FailureCount = 0,
                 .Failures = line.failures.data(),
                 .After = line.after,
                 .DumpsMachine = verdict != Verdict::kPass && WantsDump()};
  AddFailures();
  line.is_open = false;
  return &line.report;
}

}  // namespace

void FillLineRun(LineRun& table) {
  table = {.Begin = Begin, .IpmiOptions = IpmiOptions, .Next = Next, .Ended = Ended, .Break = Break, .End = End};
}

const Parameter* FindLineAnswer(const char16_t* name) {
  const LineState& line = state->line_run;
  if (!line.is_open) return nullptr;
  for (const Parameter& answer : std::span(line.answers).first(line.answer_count)) {
    if (std::u16string_view(answer.name.data()) == name) return &answer;
  }
  return nullptr;
}

void NoteLineWait(std::uint32_t milliseconds) {
  LineState& line = state->line_run;
  if (!line.is_open) return;
  ShowProgress();
  line.waited += Scaled(milliseconds);
  // A controller that has to be asked again takes more than is known, and is no
  // hung test.
  const bool is_late = line.waited > KnownWaits(line.test.Number) && line.waited <= kMostWaits;
  if (is_late && line.timeout != 0) {
    platform::SetWatchdog(line.timeout + static_cast<std::uint32_t>(Scaled(milliseconds) / 1000));
  }
}

void PauseLineTimeout() {
  if (state->line_run.test.Seconds != 0) platform::SetWatchdog(0);
}

void ResumeLineTimeout() {
  if (state->line_run.test.Seconds != 0) platform::SetWatchdog(state->line_run.test.Seconds);
}

}  // namespace testlib
