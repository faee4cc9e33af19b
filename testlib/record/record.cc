// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/record/record.h"

#include <algorithm>

#include "platform/bridges.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/firmware_version.h"
#include "platform/image.h"
#include "platform/serial_ports.h"
#include "platform/shell.h"
#include "platform/status_text.h"
#include "testlib/error_table.h"
#include "testlib/library.h"
#include "testlib/line.h"
#include "testlib/output.h"
#include "testlib/record/comparisons.h"
#include "testlib/record/limits.h"
#include "testlib/record/unit.h"
#include "testlib/state.h"
#include "testlib/tests.h"
#include "testlib/text_part.h"

namespace testlib {
namespace {

constexpr const char16_t* kFolder = u"results";
constexpr const char16_t* kEnding = u".jsonl";
constexpr std::size_t kUnitCharacters = 64;  // of a file's name

// The parameters may fill so much of a line; what comes behind them needs room.
constexpr std::size_t kForParameters = JsonLine::kBytes / 8 * 5;

Record& TheRecord() { return state->record; }
JsonLine& Line() { return state->record.line; }

// A reading holds for half a second: some clocks take a millisecond.
void ReadClock() {
  constexpr std::uint64_t kHolds = 50;
  Record& record = TheRecord();
  const std::uint64_t now = platform::Hundredths();
  if (record.read_at != 0 && now - record.read_at < kHolds) return;
  record.is_clock_set = platform::ReadUtcTime(&record.time);
  record.read_at = now;
}

using TimeText = std::array<char16_t, Timestamp{}.size() + 1>;

Timestamp Now() {
  ReadClock();
  const platform::UtcTime& time = TheRecord().time;
  TimeText text;
  FormatText(text, "%04u-%02u-%02uT%02u:%02u:%02uZ", time.year, time.month, time.day, time.hour, time.minute,
             time.second);
  Timestamp stamp;
  std::transform(text.begin(), text.end() - 1, stamp.begin(), [](char16_t c) { return static_cast<char>(c); });
  return stamp;
}

void OpenRunArtifact(const char* kind) {
  Clear(Line());
  OpenObject(Line(), "testRunArtifact");
  OpenObject(Line(), kind);
}

void OpenStepArtifact(const char* kind) {
  Clear(Line());
  OpenObject(Line(), "testStepArtifact");
  AddText(Line(), "testStepId", TheRecord().step.data());
  OpenObject(Line(), kind);
}

void KeepLine(LineKind kind = LineKind::kResult) {
  Record& record = TheRecord();
  if (Line().is_cut) {
    record.store.is_broken = true;
  } else {
    Keep(record.store, kind, Now(), Line().Text());
  }
}

void CloseArtifact(LineKind kind = LineKind::kResult) {
  CloseObject(Line());
  CloseObject(Line());
  KeepLine(kind);
}

// The artifact is the run's as long as no step is open.
void OpenArtifact(const char* kind) { TheRecord().has_step ? OpenStepArtifact(kind) : OpenRunArtifact(kind); }

using MessageText = decltype(State::message);

// A message on one line; what separates its words comes down to one blank.
MessageText OnOneLine(std::u16string_view message) {
  MessageText text;
  std::size_t length = 0;
  bool is_apart = false;
  for (const char16_t c : PartBefore(message, text.size() - 1)) {
    const bool is_space = c <= u' ';
    if (!is_space && is_apart && length > 0) text[length++] = u' ';
    if (!is_space) text[length++] = c;
    is_apart = is_space;
  }
  text[length] = 0;
  return text;
}

void AddMessage(const char16_t* message) { AddText(Line(), "message", OnOneLine(message).data()); }

void AddLog(const char* severity, const char16_t* message, LineKind kind = LineKind::kResult) {
  OpenArtifact("log");
  AddAscii(Line(), "severity", severity);
  AddMessage(message);
  CloseArtifact(kind);
}

void AddDiagnosis(const char16_t* verdict, const char16_t* message) {
  OpenStepArtifact("diagnosis");
  AddText(Line(), "verdict", verdict);
  AddAscii(Line(), "type", "FAIL");
  AddMessage(message);
  CloseArtifact();
}

void AddError(const char16_t* symptom, const char16_t* message) {
  OpenArtifact("error");
  AddText(Line(), "symptom", symptom);
  AddMessage(message);
  CloseArtifact();
}

void AddCount(const char* name, std::uint64_t value, const char* unit) {
  if (value == 0) return;
  OpenStepArtifact("measurement");
  AddAscii(Line(), "name", name);
  AddNumber(Line(), "value", value);
  if (unit != nullptr) AddAscii(Line(), "unit", unit);
  CloseArtifact();
}

// A member that is there when its text is.
void AddTextIfAny(const char* key, const char16_t* text) {
  if (*text != 0) AddText(Line(), key, text);
}

const char16_t* ValueOf(const char16_t* parameter) {
  const Parameter* const found = Find(state->parameters, parameter);
  return found == nullptr ? u"" : found->value.data();
}

// A member with the value of a parameter, which may be that of a variable.
void AddParameterIfAny(const char* key, const char16_t* parameter) {
  VariableText text;
  const char16_t* const value = ValueOf(parameter);
  if (*value != 0 && Resolve(value, text)) AddTextIfAny(key, text.data());
}

bool WasAsked(const char16_t* parameter) { return FindLineAnswer(parameter) != nullptr; }

bool Says(const char16_t* parameter, std::u16string_view word) { return SameIgnoringCase(ValueOf(parameter), word); }

void AddMacAddresses() {
  std::array<platform::MacBytes, 32> addresses;
  OpenArray(Line(), "macAddresses");
  for (const platform::MacBytes& mac : std::span(addresses).first(platform::ReadMacAddresses(addresses))) {
    std::array<char16_t, 18> text;
    FormatText(text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    AddText(Line(), nullptr, text.data());
  }
  CloseArray(Line());
}

void AddFirmware(const MachineIdentity& machine) {
  const platform::FirmwareVersion firmware = platform::ReadFirmwareVersion();
  std::array<char16_t, 16> revision;
  FormatText(revision, "0x%08x", firmware.revision);
  OpenArray(Line(), "softwareInfos");
  OpenObject(Line(), nullptr);
  AddAscii(Line(), "softwareInfoId", "firmware");
  AddText(Line(), "name", firmware.vendor);
  AddTextIfAny("version", machine.firmware_version.data());
  AddText(Line(), "revision", revision.data());
  AddAscii(Line(), "softwareType", "FIRMWARE");
  CloseObject(Line());
  CloseArray(Line());
}

void AddSystem(const MachineIdentity& machine) {
  OpenArray(Line(), "hardwareInfos");
  OpenObject(Line(), nullptr);
  AddAscii(Line(), "hardwareInfoId", "system");
  AddText(Line(), "name", machine.product[0] == 0 ? u"unknown" : machine.product.data());
  AddTextIfAny("manufacturer", machine.manufacturer.data());
  AddTextIfAny("serialNumber", machine.serial_number.data());
  CloseObject(Line());
  CloseArray(Line());
}

void AddUnit(const Unit& unit, const MachineIdentity& machine) {
  OpenObject(Line(), "dutInfo");
  AddText(Line(), "dutInfoId", unit.id.data());
  AddTextIfAny("name", machine.product.data());
  AddFirmware(machine);
  AddSystem(machine);
  OpenObject(Line(), "metadata");
  AddText(Line(), "unitFrom", unit.from.data());
  AddTextIfAny("serialNumberExpected", unit.expected.data());
  AddTextIfAny("serialNumberSmbios", machine.serial_number.data());
  AddMacAddresses();
  CloseObject(Line());
  CloseObject(Line());
}

// How many did not fit.
std::uint32_t AddParameters() {
  std::uint32_t left_out = 0;
  OpenObject(Line(), "parameters");
  for (const Parameter& parameter : state->parameters.All()) {
    const bool has_room = Line().length < kForParameters;
    if (!has_room || !AddNamedText(Line(), parameter.name.data(), parameter.value.data())) ++left_out;
  }
  CloseObject(Line());
  return left_out;
}

void AddRunMetadata() {
  OpenObject(Line(), "metadata");
  AddText(Line(), "testlib", kLibraryVersion);
  AddParameterIfAny("station", u"Station");
  AddParameterIfAny("order", u"Order");
  AddParameterIfAny("operator", u"Operator");
  AddNumber(Line(), "delayScale", state->command_line.delay_scale);
  OpenArray(Line(), "bridges");
  platform::TellBridges([](const char16_t* text) { AddText(Line(), nullptr, text); });
  CloseArray(Line());
  OpenObject(Line(), "origins");
  for (const Parameter& parameter : state->parameters.All()) {
    OriginText origin = OriginOf(parameter);
    if (WasAsked(parameter.name.data())) FormatText(origin, "asked, %s", OriginOf(parameter).data());
    AddNamedText(Line(), parameter.name.data(), origin.data());
  }
  CloseObject(Line());
  CloseObject(Line());
}

void AddRunStart(const Unit& unit, const MachineIdentity& machine) {
  const Record& record = TheRecord();
  OpenRunArtifact("testRunStart");
  AddAscii(Line(), "name", "mfgtest");
  AddText(Line(), "version", record.module_version[0] == 0 ? u"unknown" : record.module_version.data());
  AddText(Line(), "commandLine", record.command_line.data());
  AddUnit(unit, machine);
  const std::uint32_t left_out = AddParameters();
  AddRunMetadata();
  CloseArtifact();
  if (!record.is_clock_set) AddLog("WARNING", u"The firmware's clock is not set: the times say nothing.");
  if (left_out == 0) return;
  std::array<char16_t, 80> text;
  FormatText(text, "%u parameters are left out of this record: there are too many.", left_out);
  AddLog("WARNING", text.data());
}

void AddSchemaVersion() {
  Clear(Line());
  OpenObject(Line(), "schemaVersion");
  AddNumber(Line(), "major", 2);
  AddNumber(Line(), "minor", 0);
  CloseObject(Line());
  KeepLine();
}

// Letters, digits and hyphens.
void AppendFileName(StorePath& stem, const Unit& unit) {
  const auto is_plain = [](char16_t c) {
    return (c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z');
  };
  std::array<char16_t, kUnitCharacters + 1> name{};
  const std::u16string_view id = PartBefore(unit.id.data(), kUnitCharacters);
  std::ranges::transform(id, name.begin(), [&](char16_t c) { return is_plain(c) ? c : u'-'; });
  const platform::UtcTime& time = TheRecord().time;
  const StorePath folder = stem;
  FormatText(stem, "%s%s-%04u%02u%02u-%02u%02u%02u", folder.data(), name.data(), time.year, time.month, time.day,
             time.hour, time.minute, time.second);
}

// Says once that the drive does not take the record, and once that it does again.
bool WriteRecord() {
  Record& record = TheRecord();
  if (!record.store.has_file && !EFI_ERROR(record.store.status)) return true;
  const bool is_written = WriteOut(record.store);
  if (is_written == !record.has_told) return is_written;
  record.has_told = !is_written;
  platform::StartLine();
  const char16_t* const path = record.store.is_made ? record.store.file.place.path.data() : record.store.stem.data();
  if (is_written) {
    Say(Colour::kNotice, "The record is on the drive again: %s\n", path);
  } else {
    Say(Colour::kBad, "The record cannot be written to %s: %s. It goes on in memory only.\n", path,
        platform::StatusText(record.store.status).Text());
  }
  return is_written;
}

// Starts with what is known now, once; the module tells its version when its
// first run begins.
void Start() {
  Record& record = TheRecord();
  if (record.is_started) return;
  record.is_started = true;
  ReadClock();
  const MachineIdentity machine = ReadMachineIdentity();
  const Unit unit = IdentifyUnit(state->parameters, machine, WasAsked(u"System_Serial_Number"));
  // A name of its own, or a folder to which one is added.
  if (record.store.ending[0] == 0) {
    AppendFileName(record.store.stem, unit);
    FormatText(record.store.ending, "%s", kEnding);
  }
  AddSchemaVersion();
  AddRunStart(unit, machine);
  // A drive that takes nothing is told before the tests.
  WriteRecord();
}

void Reset(Record& record) {
  auto* const bytes = reinterpret_cast<std::uint8_t*>(&record);
  std::fill_n(bytes, sizeof record, std::uint8_t{0});
  platform::ForgetSerialPorts();
}

// The words behind the program, which is known by its name.
void TakeCommandLine(std::u16string_view program, std::span<const char16_t* const> words) {
  auto& text = TheRecord().command_line;
  auto* end = std::ranges::copy(program, text.begin()).out;
  for (const std::u16string_view word : words.subspan(words.empty() ? 0 : 1)) {
    if (end + 1 < text.end()) *end++ = u' ';
    end = std::ranges::copy(PartBefore(word, static_cast<std::size_t>(text.end() - 1 - end)), end).out;
  }
  *end = 0;
}

bool EndsInBackslash(std::u16string_view path) { return path.ends_with(u'\\') || path.ends_with(u'/'); }

// A file by its name, or a folder in which one is made.
void TakePath(const char16_t* path) {
  RecordStore& store = TheRecord().store;
  platform::FilePlace place{};
  const EFI_LOADED_IMAGE* const loaded = platform::LoadedImage(state->module);
  if (!platform::HasModernShell() && loaded != nullptr) place.volume = loaded->DeviceHandle;
  store.volume = place.volume;
  FormatText(place.path, "%s", path);
  bool is_folder = false;
  const bool is_there = !EFI_ERROR(platform::LookAt(place, &is_folder));
  const std::u16string_view text = path;
  if (EndsInBackslash(text)) {
    FormatText(store.stem, "%s", path);
    *std::ranges::copy(PartBefore(text, std::min(text.size() - 1, store.folder.size() - 1)), store.folder.begin()).out =
        0;
  } else if (is_there && is_folder) {
    FormatText(store.stem, "%s\\", path);
  } else {
    const std::size_t dot = text.find_last_of(u'.');
    const bool has_ending = dot != text.npos && text.find_first_of(u"\\/:", dot) == text.npos;
    const std::u16string_view stem = PartBefore(text, std::min(has_ending ? dot : text.size(), store.stem.size() - 1));
    *std::ranges::copy(stem, store.stem.begin()).out = 0;
    FormatText(store.ending, "%s", has_ending ? path + dot : kEnding);
  }
  store.has_file = true;
}

// The folder of the results beside the module.
void TakeFolderBeside(EFI_HANDLE module) {
  RecordStore& store = TheRecord().store;
  const EFI_LOADED_IMAGE* const loaded = platform::LoadedImage(module);
  StorePath folder;
  if (loaded == nullptr || EFI_ERROR(platform::FolderOf(module, folder))) {
    store.status = EFI_NOT_FOUND;
    return;
  }
  store.volume = loaded->DeviceHandle;
  FormatText(store.folder, "%s%s", folder.data(), kFolder);
  FormatText(store.stem, "%s\\", store.folder.data());
  store.has_file = true;
}

void BeginTestRecord() {
  Record& record = TheRecord();
  const char16_t* const path = state->command_line.record;
  if (record.is_open || path == nullptr || state->line_run.is_open) return;
  record.is_open = true;
  record.store.uses_serial = Says(u"Record_Console", u"yes");
  TakePath(path);
}

void AddLeftOut() {
  const std::uint64_t count = TheRecord().store.left_out;
  if (count == 0) return;
  std::array<char16_t, 80> text;
  FormatText(text, "%lu debug messages are left out of this record: there was no room.", count);
  AddLog("WARNING", text.data());
}

void AddRunEnd(Verdict verdict) {
  const bool is_complete = verdict == Verdict::kPass || verdict == Verdict::kFail;
  OpenRunArtifact("testRunEnd");
  AddText(Line(), "status", is_complete ? u"COMPLETE" : VerdictText(verdict));
  AddText(Line(), "result", is_complete ? VerdictText(verdict) : u"NOT_APPLICABLE");
  CloseArtifact();
}

void OpenStep(const char16_t* id, const char16_t* name) {
  Record& record = TheRecord();
  FormatText(record.step, "%s", id);
  record.has_step = true;
  OpenStepArtifact("testStepStart");
  AddText(Line(), "name", name);
  CloseArtifact();
}

void CloseStep(const char* status) {
  OpenStepArtifact("testStepEnd");
  AddAscii(Line(), "status", status);
  CloseArtifact();
  TheRecord().has_step = false;
}

const char* StepStatus(Verdict verdict) {
  if (verdict == Verdict::kSkip) return "SKIP";
  return verdict == Verdict::kError ? "ERROR" : "COMPLETE";
}

void OpenStepOfRun() {
  Record& record = TheRecord();
  const std::uint32_t test = state->run.test;
  std::uint8_t& starts = record.starts[std::min<std::size_t>(test, RemovedTests::kTests)];
  if (starts < UINT8_MAX) ++starts;
  std::array<char16_t, 24> id;
  if (starts == 1) FormatText(id, "%u", test);
  if (starts != 1) FormatText(id, "%u.%u", test, starts);
  OpenStep(id.data(), TitleOf(test));
}

}  // namespace

void BeginLineRecord(EFI_HANDLE module, std::span<const char16_t* const> words) {
  Record& record = TheRecord();
  Reset(record);
  const char16_t* const path = state->command_line.record;
  const bool has_file = path != nullptr || !Says(u"Record", u"no");
  record.store.uses_serial = Says(u"Record_Console", u"yes");
  record.is_required = Says(u"Record", u"required");
  record.is_open = has_file || record.store.uses_serial;
  record.is_line = true;
  TakeCommandLine(u"start.efi", words);
  if (path != nullptr) TakePath(path);
  if (path == nullptr && has_file) TakeFolderBeside(module);
}

void PrepareRecord(const TestDescriptor& descriptor) {
  Record& record = TheRecord();
  if (!record.is_open) {
    Reset(record);
    TakeCommandLine(u"mfgtest.efi", {descriptor.Argv, descriptor.Argc});
  }
  if (descriptor.Version != nullptr) FormatText(record.module_version, "%a", descriptor.Version);
}

void BeginStep() {
  BeginTestRecord();
  if (!TheRecord().is_open) return;
  Start();
  if (state->run.has_test && !TheRecord().has_step) OpenStepOfRun();
}

void RecordError(const char16_t* symptom, const char16_t* message) {
  BeginStep();
  if (TheRecord().is_open) AddError(symptom, message);
}

void RecordRemoval(const char16_t* reason, const char16_t* error_when_required) {
  BeginStep();
  if (!TheRecord().has_step) return;
  AddLog("INFO", reason);
  if (error_when_required != nullptr) AddDiagnosis(u"required-test-removed", error_when_required);
}

void RecordResult(const char16_t* key, const char16_t* value) {
  if (!TheRecord().has_step) return;
  OpenStepArtifact("measurement");
  AddText(Line(), "name", key);
  AddText(Line(), "value", Compared(key, value));
  AddLimits(Line(), state->parameters, key);
  CloseArtifact();
}

void RecordResult(const char16_t* key, std::uint64_t value) {
  if (!TheRecord().has_step) return;
  OpenStepArtifact("measurement");
  AddText(Line(), "name", key);
  AddNumber(Line(), "value", value);
  AddLimits(Line(), state->parameters, key);
  CloseArtifact();
}

void RecordFailure(std::uint64_t code, const char16_t* format, __builtin_ms_va_list arguments,
                   const char16_t* message) {
  if (!TheRecord().has_step) return;
  std::array<std::uint64_t, Comparison::kArguments> values{};
  bool has_values = false;
  for (const Comparison& row : Comparisons()) {
    if (!row.Fits(state->run.test, format)) continue;
    for (std::size_t i = 0; i < row.ArgumentCount() && !has_values; ++i) {
      values[i] = __builtin_va_arg(arguments, std::uint64_t);
    }
    has_values = true;
    OpenStepArtifact("measurement");
    AddComparison(Line(), row, values);
    CloseArtifact();
  }
  const ErrorRow* const row = FindError(code, format);
  const char16_t* const name = row == nullptr ? u"unknown-code" : row->name;
  if (row != nullptr && row->blame == Blame::kStation) return AddError(name, message);
  AddDiagnosis(name, message);
}

void RecordDebugMessage(const char16_t* message) {
  const bool is_blank = std::u16string_view(message).find_first_not_of(u" \t\r\n") == std::u16string_view::npos;
  if (is_blank || !TheRecord().has_step) return;
  AddLog("DEBUG", message, LineKind::kDebug);
}

void RecordMissingResult(const char16_t* key) {
  Record& record = TheRecord();
  if (!record.is_open) return;
  if (!record.has_step) OpenStep(u"required-results", u"Required results");
  std::array<char16_t, 300> message;
  FormatText(message, "%s was not published, or is empty", key);
  AddDiagnosis(u"required-result-missing", message.data());
}

Verdict EndStep(Verdict verdict) {
  Record& record = TheRecord();
  if (record.has_step) {
    const Run& run = state->run;
    AddCount("waits", run.waited, "ms");
    AddCount("repeats", run.requests - std::min(run.requests, run.responses), nullptr);
    CloseStep(StepStatus(verdict));
    if (record.is_line) WriteRecord();
  }
  return record.is_open && !record.is_line ? EndRecord(verdict) : verdict;
}

Verdict EndRecord(Verdict verdict) {
  Record& record = TheRecord();
  if (!record.is_open) return verdict;
  Start();
  if (record.has_step) CloseStep("COMPLETE");
  AddLeftOut();
  if (record.is_required && !WriteRecord()) verdict = Verdict::kError;
  if (!record.store.is_broken) AddRunEnd(verdict);
  const bool is_complete = WriteRecord() && !record.store.is_broken;
  record.is_open = false;
  return record.is_required && !is_complete ? Verdict::kError : verdict;
}

const char16_t* RecordPath() {
  const RecordStore& store = TheRecord().store;
  return store.is_made && store.length == 0 ? store.file.place.path.data() : u"";
}

}  // namespace testlib
