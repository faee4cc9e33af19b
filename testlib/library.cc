// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/library.h"

#include <algorithm>

#include "platform/clock.h"
#include "testlib/asking.h"
#include "testlib/error_table.h"
#include "testlib/input.h"
#include "testlib/output.h"
#include "testlib/parameter_table.h"
#include "testlib/run.h"
#include "testlib/status.h"
#include "testlib/trace.h"

namespace testlib {
namespace {

TestLibraryStatus EFIAPI Initialize(TestDescriptor* descriptor) {
  const TestLibraryStatus status = StartRun(*descriptor);
  Trace({.operation = Operation::kInitialize, .number = descriptor->SelectedTest, .status = status});
  return status;
}

void EFIAPI EndTest() {
  Trace({.operation = Operation::kEndTest});
  FinishRun();
}

void EFIAPI Delay(std::uint32_t milliseconds) {
  Trace({.operation = Operation::kDelay, .number = milliseconds});
  NoteLineWait(milliseconds);
  state->run.waited += milliseconds;
  // 1000 microseconds a millisecond, 100 percent of them.
  platform::Wait(std::uint64_t{milliseconds} * 10 * state->command_line.delay_scale);
}

// A question that no line has asked is asked when a test reads it.
const Parameter* FindAnswered(const char16_t* name) {
  Parameter* const parameter = Find(state->parameters, name);
  if (parameter == nullptr || !IsAsked(parameter->value.data())) return parameter;
  return Ask(*parameter) ? parameter : nullptr;
}

TestLibraryStatus ReadNumber(const char16_t* name, std::uint32_t* value) {
  const Parameter* const parameter = FindAnswered(name);
  if (parameter == nullptr) return kNotFound;
  if (ParseNumber(parameter->value.data(), value)) return kTestLibrarySuccess;
  Note("%s = \"%s\" (%s): expected a number of at most 32 bits, decimal or 0x hexadecimal\n", name,
       parameter->value.data(), OriginOf(*parameter).data());
  return kNotANumber;
}

TestLibraryStatus EFIAPI GetParamNumber(const char16_t* name, std::uint32_t* value) {
  const TestLibraryStatus status = ReadNumber(name, value);
  const std::uint32_t given = status == kTestLibrarySuccess ? *value : 0;
  Trace({.operation = Operation::kGetParamNumber, .number = given, .status = status, .key = name});
  return status;
}

TestLibraryStatus EFIAPI GetParamString(const char16_t* name, char16_t* value, UINTN maximum) {
  const Parameter* const parameter = FindAnswered(name);
  const TestLibraryStatus status = parameter == nullptr ? kNotFound : CopyValue(*parameter, value, maximum);
  Trace({.operation = Operation::kGetParamString, .number = maximum, .status = status, .key = name, .text = value});
  return status;
}

// Keeps a result for the boot and for the table at the end of the run.
void Keep(const char16_t* key, const char16_t* value) {
  if (Publish(state->results, key, value, state->history.count)) return;
  Note("There is no room for more results: %s is not kept\n", key);
}

void EFIAPI SetResultNumber(const char16_t* key, UINTN value) {
  std::array<char16_t, 24> text;
  FormatText(text, "%lu", value);
  Trace({.operation = Operation::kSetResultNumber, .number = value, .key = key});
  RecordResult(key, value);
  Keep(key, text.data());
}

void EFIAPI SetResultString(const char16_t* key, const char16_t* value) {
  Trace({.operation = Operation::kSetResultString, .key = key, .text = value});
  RecordResult(key, value);
  Keep(key, value);
}

void EFIAPI RemoveSubtest(UINTN subtest) {
  Trace({.operation = Operation::kRemoveSubtest, .number = subtest});
  if (!RemoveTest(state->removed, subtest, state->run.test, state->message.data())) {
    Note("There is no test %lu to remove.\n", subtest);
  }
}

void EFIAPI LogMessage(const char16_t* format, ...) {
  __builtin_ms_va_list arguments;
  __builtin_ms_va_start(arguments, format);
  FormatVariadic(state->message, format, arguments);
  __builtin_ms_va_end(arguments);
  Trace({.operation = Operation::kLogMessage, .text = state->message.data()});
  Show(state->message.data());
}

void EFIAPI DisplayPrint(const char16_t* format, ...) {
  __builtin_ms_va_list arguments;
  __builtin_ms_va_start(arguments, format);
  FormatVariadic(state->message, format, arguments);
  __builtin_ms_va_end(arguments);
  Trace({.operation = Operation::kDisplayPrint, .text = state->message.data()});
  Show(state->message.data());
}

// A request without its answer is one that had to be repeated, or failed.
void CountExchange(std::u16string_view format) {
  if (format.starts_with(u"\nSend IPMI Cmd")) ++state->run.requests;
  if (format.starts_with(u", RespData")) ++state->run.responses;
}

void EFIAPI DebugPrint(UINTN mask, const char16_t* format, ...) {
  if ((mask & kDebugIpmi) != 0) CountExchange(format);
  const bool is_shown = (mask & state->command_line.debug_mask) != 0;
  // Most of what a test says, and on the line for nobody.
  if (!is_shown && !Tracing()) return;
  __builtin_ms_va_list arguments;
  __builtin_ms_va_start(arguments, format);
  FormatVariadic(state->message, format, arguments);
  __builtin_ms_va_end(arguments);
  Trace({.operation = Operation::kDebugPrint, .number = mask, .text = state->message.data()});
  if (!is_shown) return;
  RecordDebugMessage(state->message.data());
  Show(state->message.data(), Colour::kQuiet);
}

void EFIAPI ReportError(UINTN code, const char16_t* format, ...) {
  __builtin_ms_va_list arguments;
  __builtin_ms_va_start(arguments, format);
  FormatVariadic(state->message, format, arguments);
  RecordFailure(code, format, arguments, state->message.data());
  __builtin_ms_va_end(arguments);
  Trace({.operation = Operation::kReportError, .number = code, .text = state->message.data()});
  const ErrorRow* const row = FindError(code, format);
  ++state->run.errors;
  KeepReason(state->run, state->message.data(), row == nullptr ? nullptr : row->advice);
  if (row != nullptr && row->blame == Blame::kStation) ++state->run.station_errors;
  if (Tracing()) return;
  std::array<char16_t, 32> label;
  FormatText(label, "ERROR %lu: ", code);
  ShowError(label.data(), state->message.data());
  if (row != nullptr) Say(Colour::kNotice, "  -> %s\n", row->advice);
}

void EFIAPI Prompt(const char16_t* text) {
  Trace({.operation = Operation::kPrompt, .text = text});
  Show(text, Colour::kNotice);
}

void EFIAPI ReadInput(char16_t* answer, UINTN maximum, UINTN flags) {
  if (answer == nullptr || maximum == 0) return;
  ReadLine({answer, maximum});
  Trace({.operation = Operation::kReadInput, .number = maximum, .flags = flags, .text = answer});
}

TestLibraryStatus EFIAPI Unsupported() { return kUnsupported; }

}  // namespace

void FillTable(TestLibrary& table) {
  table = {
      .Initialize = Initialize,
      .unused1 = Unsupported,
      .Delay = Delay,
      .GetParamNumber = GetParamNumber,
      .unused4 = Unsupported,
      .GetParamString = GetParamString,
      .unused6 = {Unsupported, Unsupported, Unsupported, Unsupported},
      .SetResultNumber = SetResultNumber,
      .unused11 = Unsupported,
      .SetResultString = SetResultString,
      .unused13 = {Unsupported, Unsupported},
      .RemoveSubtest = RemoveSubtest,
      .unused16 = {Unsupported, Unsupported, Unsupported},
      .EndTest = EndTest,
      .LogMessage = LogMessage,
      .ReportError = ReportError,
      .unused22 = Unsupported,
      .DisplayPrint = DisplayPrint,
      .Prompt = Prompt,
      .unused25 = Unsupported,
      .DebugPrint = DebugPrint,
      .ReadInput = ReadInput,
  };
}

void PrepareForApplication() {
  // When it cannot be removed, the run that starts now tells.
  (void)ForgetVerdict(nullptr);
  state->table.Initialize = Initialize;
}

}  // namespace testlib
