// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/recorder.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "platform/format.h"
#include "simulation/fault.h"
#include "simulation/injection.h"
#include "simulation/text.h"
#include "testlib/transcript.h"

namespace simulation {
namespace {

constexpr std::array kNames = {
    "TestLib slot 0",  "TestLib slot 1",  "TestLib slot 2",  "TestLib slot 3",  "TestLib slot 4",  "TestLib slot 5",
    "TestLib slot 6",  "TestLib slot 7",  "TestLib slot 8",  "TestLib slot 9",  "TestLib slot 10", "TestLib slot 11",
    "TestLib slot 12", "TestLib slot 13", "TestLib slot 14", "TestLib slot 15", "TestLib slot 16", "TestLib slot 17",
    "TestLib slot 18", "TestLib slot 19", "TestLib slot 20", "TestLib slot 21", "TestLib slot 22", "TestLib slot 23",
    "TestLib slot 24", "TestLib slot 25", "TestLib slot 26", "TestLib slot 27"};
static_assert(kNamesEverySlot<kNames, sizeof(TestLibrary)>);

constexpr TestLibraryStatus kNoSuchParameter = 1;
constexpr TestLibraryStatus kNotANumber = 2;
constexpr TestLibraryStatus kRefused = 7;
constexpr UINTN kMostArguments = 64;

Recorder* current = nullptr;

Call& Record(Call call) {
  CountStep();
  if (call.operation == Operation::kReportError) Machine::Current().has_failed_check = true;
  return current->calls.emplace_back(std::move(call));
}

std::u16string Rendered(const char16_t* format, __builtin_ms_va_list arguments) {
  static std::array<char16_t, 4096> text;
  return {text.data(), FormatVariadic(text, format, arguments)};
}

TestLibraryStatus EFIAPI Initialize(TestDescriptor* descriptor) {
  current->table_was_whole_in_initialize = current->TableIsWhole();
  current->descriptor = *descriptor;
  if (descriptor->Argc <= kMostArguments) {
    current->arguments.assign(descriptor->Argv, descriptor->Argv + descriptor->Argc);
  }
  const Failure failure = Fails("Initialize", {kRefused, kNoSuchParameter});
  const TestLibraryStatus status = failure ? failure.way : current->initialize_status;
  if (status == kTestLibrarySuccess) descriptor->SelectedTest = current->selected_test;
  Record({.operation = Operation::kInitialize, .number = current->selected_test, .status = status});
  return status;
}

void EFIAPI Delay(std::uint32_t milliseconds) { Record({.operation = Operation::kDelay, .number = milliseconds}); }

// What the library answers before it looks at the value.
TestLibraryStatus ParameterStatus(const std::u16string& name) {
  const Failure failure = Fails("parameter", name, {kNoSuchParameter, kTestLibraryBufferTooSmall, kRefused});
  if (failure) return failure.way;
  const auto status = current->parameter_statuses.find(name);
  if (status != current->parameter_statuses.end()) return status->second;
  return current->parameters.contains(name) ? kTestLibrarySuccess : kNoSuchParameter;
}

TestLibraryStatus ParseNumber(const std::u16string& text, std::uint32_t* value) {
  const std::string digits = Readable(text);
  const bool is_hexadecimal = digits.starts_with("0x");
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] =
      std::from_chars(digits.data() + (is_hexadecimal ? 2 : 0), end, *value, is_hexadecimal ? 16 : 10);
  return error == std::errc() && stop == end ? kTestLibrarySuccess : kNotANumber;
}

TestLibraryStatus EFIAPI GetParamNumber(const char16_t* name, std::uint32_t* value) {
  Call& call = Record({.operation = Operation::kGetParamNumber, .status = ParameterStatus(name), .key = name});
  if (call.status == kTestLibrarySuccess) call.status = ParseNumber(current->parameters.at(name), value);
  if (call.status == kTestLibrarySuccess) call.number = *value;
  return call.status;
}

TestLibraryStatus EFIAPI GetParamString(const char16_t* name, char16_t* value, UINTN maximum) {
  Call& call = Record(
      {.operation = Operation::kGetParamString, .number = maximum, .status = ParameterStatus(name), .key = name});
  if (call.status != kTestLibrarySuccess) return call.status;
  const std::u16string& text = current->parameters.at(name);
  const std::size_t bytes = (text.size() + 1) * sizeof(char16_t);
  if (bytes > maximum) return call.status = kTestLibraryBufferTooSmall;
  std::memcpy(value, text.c_str(), bytes);
  call.text = text;
  return call.status;
}

void EFIAPI SetResultNumber(const char16_t* key, UINTN value) {
  Record({.operation = Operation::kSetResultNumber, .number = value, .key = key});
}

void EFIAPI SetResultString(const char16_t* key, const char16_t* value) {
  Record({.operation = Operation::kSetResultString, .key = key, .text = value});
}

void EFIAPI RemoveSubtest(UINTN subtest) { Record({.operation = Operation::kRemoveSubtest, .number = subtest}); }

void EFIAPI EndTest() { Record({.operation = Operation::kEndTest}); }

template <Operation kOperation>
void EFIAPI Message(const char16_t* format, ...) {
  __builtin_ms_va_list arguments;
  __builtin_ms_va_start(arguments, format);
  Record({.operation = kOperation, .format = format, .text = Rendered(format, arguments)});
  __builtin_ms_va_end(arguments);
}

template <Operation kOperation>
void EFIAPI NumberedMessage(UINTN number, const char16_t* format, ...) {
  __builtin_ms_va_list arguments;
  __builtin_ms_va_start(arguments, format);
  Record({.operation = kOperation, .number = number, .format = format, .text = Rendered(format, arguments)});
  __builtin_ms_va_end(arguments);
}

void EFIAPI Prompt(const char16_t* text) { Record({.operation = Operation::kPrompt, .text = text}); }

void EFIAPI ReadInput(char16_t* answer, UINTN maximum, UINTN flags) {
  Call& call = Record({.operation = Operation::kReadInput, .number = maximum, .flags = flags});
  if (Fails("ReadInput", {EFI_ABORTED})) return;
  if (current->answers.empty()) {
    Fault("ReadInput, and no answer is left");
  } else {
    // The terminator goes behind as many characters as may be filled.
    call.text = current->answers.front().substr(0, maximum);
    current->answers.pop_front();
  }
  std::memcpy(answer, call.text.c_str(), (call.text.size() + 1) * sizeof(char16_t));
}

TestLibrary MakeTable() {
  TestLibrary table{};
  FillWithRefusals<kNames>(&table);
  table.Initialize = Initialize;
  table.Delay = Delay;
  table.GetParamNumber = GetParamNumber;
  table.GetParamString = GetParamString;
  table.SetResultNumber = SetResultNumber;
  table.SetResultString = SetResultString;
  table.RemoveSubtest = RemoveSubtest;
  table.EndTest = EndTest;
  table.LogMessage = Message<Operation::kLogMessage>;
  table.ReportError = NumberedMessage<Operation::kReportError>;
  table.DisplayPrint = Message<Operation::kDisplayPrint>;
  table.Prompt = Prompt;
  table.DebugPrint = NumberedMessage<Operation::kDebugPrint>;
  table.ReadInput = ReadInput;
  return table;
}

}  // namespace

std::string TranscriptText(const Call& call) {
  testlib::TranscriptLine line;
  testlib::WriteLine(line, {.operation = call.operation,
                            .number = call.number,
                            .flags = call.flags,
                            .status = call.status,
                            .key = call.key.c_str(),
                            .text = call.text.c_str()});
  return Readable(line.text.data());
}

Recorder::Recorder(Machine& machine) : table(MakeTable()), machine_(machine) {
  current = this;
  handle_ = machine.handles.Install(kTestLibraryProtocolGuid, &table);
}

Recorder::~Recorder() {
  machine_.handles.Uninstall(handle_, kTestLibraryProtocolGuid, &table);
  current = nullptr;
}

bool Recorder::TableIsWhole() const {
  const TestLibrary installed = MakeTable();
  return std::memcmp(&table, &installed, sizeof table) == 0;
}

}  // namespace simulation
