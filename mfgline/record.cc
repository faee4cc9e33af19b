// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "mfgline/record.h"

#include <algorithm>
#include <array>
#include <compare>
#include <nlohmann/json.hpp>
#include <set>

#include "mfgline/text.h"

namespace mfgline {
namespace {

using nlohmann::json;

constexpr std::size_t kLongestLine = 1 << 20;
constexpr std::size_t kBlock = 1 << 14;
constexpr long kMostLines = 1'000'000;
// Of what a record says of its start; deeper levels are left out.
constexpr int kDeepest = 8;
// Serial numbers have a few dozen; a longer text is cut and keeps its hash.
constexpr std::size_t kLongestUnit = 200;
constexpr std::string_view kMark = "@MFG ";
// What started the run, when it was not the line.
constexpr std::string_view kSingleTest = "mfgtest.efi";
// The step that stands for the run as a whole.
constexpr const char* kRun = "run";
// A step whose end may be among the lines that are lost: the run's end speaks for it.
constexpr const char* kLost = "LOST";

// A terminal may be told to move or to change colour before a line begins.
std::string_view WithoutControls(std::string_view line) {
  while (!line.empty()) {
    if (line.starts_with("\033[")) {
      const std::size_t end = line.find_first_not_of("0123456789;?", 2);
      line.remove_prefix(std::min(line.size(), end == std::string_view::npos ? end : end + 1));
    } else if (static_cast<unsigned char>(line.front()) <= ' ') {
      line.remove_prefix(1);
    } else {
      break;
    }
  }
  while (!line.empty() && static_cast<unsigned char>(line.back()) <= ' ') line.remove_suffix(1);
  return line;
}

const json kNothing;

const json& Member(const json& object, const char* name) {
  if (!object.is_object()) return kNothing;
  const auto found = object.find(name);
  return found == object.end() ? kNothing : *found;
}

std::string Text(const json& value) {
  if (value.is_string()) return Clean(value.get_ref<const std::string&>());
  return value.is_number() || value.is_boolean() ? value.dump() : "";
}

std::string Text(const json& object, const char* name) { return Text(Member(object, name)); }

long Number(const json& object, const char* name) {
  const json& value = Member(object, name);
  return value.is_number() ? static_cast<long>(std::clamp(value.get<double>(), -1e15, 1e15)) : 0;
}

std::string UnitOf(const json& dut_info) {
  std::string unit = Text(dut_info, "dutInfoId");
  if (unit.empty()) return "none";
  if (unit.size() <= kLongestUnit) return unit;
  const std::string hash = std::to_string(Hash(unit));
  unit.resize(kLongestUnit);
  return Clean(unit) + "#" + hash;
}

void Flatten(const json& value, const std::string& name, int depth, std::map<std::string, std::string>& settings) {
  if (!value.is_structured()) {
    settings[name] = Text(value);
    return;
  }
  if (depth == kDeepest) return;
  for (const auto& [key, member] : value.items()) {
    Flatten(member, name.empty() ? Clean(key) : name + "." + Clean(key), depth + 1, settings);
  }
}

struct Comparison {
  const char* type;
  const char* sign;
  bool (*holds)(std::partial_ordering);
  bool range;
};

constexpr Comparison kComparisons[] = {
    {"EQUAL", "", std::is_eq, false},        {"NOT_EQUAL", "!=", std::is_neq, false},
    {"LESS_THAN", "<", std::is_lt, true},    {"LESS_THAN_OR_EQUAL", "<=", std::is_lteq, true},
    {"GREATER_THAN", ">", std::is_gt, true}, {"GREATER_THAN_OR_EQUAL", ">=", std::is_gteq, true},
};

std::partial_ordering Compare(const json& value, const json& limit) {
  if (value.is_number() && limit.is_number()) return value.get<double>() <=> limit.get<double>();
  return Text(value) <=> Text(limit);
}

Value ReadValue(const json& measurement) {
  Value value{
      .name = Text(measurement, "name"), .value = Text(measurement, "value"), .unit = Text(measurement, "unit")};
  const json& measured = Member(measurement, "value");
  for (const json& validator : Member(measurement, "validators")) {
    const std::string type = Text(validator, "type");
    const json& limit = Member(validator, "value");
    const auto* const found = std::ranges::find(kComparisons, type, [](const Comparison& one) { return one.type; });
    const bool known = found != std::end(kComparisons);
    const std::string sign = known ? found->sign : type;
    value.limit += (value.limit.empty() ? "" : " and ") + (sign.empty() ? "" : sign + " ") + Text(limit);
    value.outside = value.outside || (known && !found->holds(Compare(measured, limit)));
    if (known && found->range && measured.is_number()) value.number = measured.get<double>();
  }
  return value;
}

Step& StepOf(Record& record, const std::string& id) {
  const auto found = std::ranges::find(record.steps.rbegin(), record.steps.rend(), id, &Step::id);
  if (found != record.steps.rend()) return *found;
  return record.steps.emplace_back(Step{.id = id});
}

void Note(Step& step, const json& log) {
  if (Text(log, "severity") == "DEBUG") return;
  step.note += (step.note.empty() ? "" : "; ") + Text(log, "message");
}

void AddError(Step& step, const json& error) {
  step.findings.push_back({.station = true, .code = Text(error, "symptom"), .message = Text(error, "message")});
}

bool HasFailure(const Step& step) {
  return std::ranges::any_of(step.findings, [](const Finding& finding) { return !finding.station; });
}

std::string VerdictOf(const Step& step, const std::string& status) {
  if (HasFailure(step)) return "FAIL";
  if (status == kLost) return kLost;
  return status == "COMPLETE" ? "PASS" : status == "SKIP" ? "SKIP" : "ERROR";
}

// Autosense publishes values, and other steps judge them: there a value is
// outside its limit when the test of it failed.
void MarkOutside(std::vector<Step>& steps) {
  std::set<std::string> failed;
  for (const Step& step : steps) {
    for (const Value& value : step.values) {
      if (value.outside && step.verdict == "FAIL") failed.insert(value.name);
    }
  }
  for (Step& step : steps) {
    for (Value& value : step.values) value.outside = value.outside && failed.contains(value.name);
  }
}

// A finding is about the value outside its limit that its message names, or
// else about the first one.
void Explain(Step& step) {
  for (Finding& finding : step.findings) {
    const Value* about = nullptr;
    for (const Value& value : step.values) {
      if (!value.outside) continue;
      const bool named = finding.message.find(value.name) != std::string::npos;
      if (about == nullptr || named) about = &value;
      if (named) break;
    }
    if (about == nullptr || finding.station) continue;
    finding.name = about->name;
    finding.measured = about->value;
    finding.limit = about->limit;
  }
}

// The end's word, unless what stands before it says otherwise: a record never
// passes a unit that one of its steps did not pass.
std::string Judge(Record& record, const std::string& end) {
  const auto station_error = [](Step& step, const char* code, const std::string& message) {
    step.findings.push_back({.station = true, .code = code, .message = message});
    return "ERROR";
  };
  const auto has = [&](const char* verdict) { return std::ranges::find(record.steps, verdict, &Step::verdict); };
  if (end == "COMPLETE/FAIL") return "FAIL";
  if (end == "SKIP/NOT_APPLICABLE") return "SKIP";
  if (end == "ERROR/NOT_APPLICABLE") return "ERROR";
  if (end.empty()) {
    Step& last = record.steps.empty() ? StepOf(record, kRun) : record.steps.back();
    return station_error(last, "no-end", "The record breaks off here: the run has no end");
  }
  if (end != "COMPLETE/PASS") return station_error(StepOf(record, kRun), "unknown-end", "The record ends in " + end);
  for (const char* const worse : {"FAIL", "ERROR"}) {
    if (const auto step = has(worse); step != record.steps.end()) {
      const std::string message = "The record ends in PASS, but its step " + step->id + " did not pass";
      station_error(StepOf(record, kRun), "contradiction", message);
      return worse;
    }
  }
  if (has("PASS") == record.steps.end()) {
    return station_error(StepOf(record, kRun), "contradiction", "The record ends in PASS, but no test passed in it");
  }
  return record.command.starts_with(kSingleTest) ? "PARTIAL" : "PASS";
}

void Start(Record& record, const json& start, const std::string& time) {
  const json& dut_info = Member(start, "dutInfo");
  const json& metadata = Member(start, "metadata");
  record.unit = UnitOf(dut_info);
  record.started = time;
  record.product = Text(dut_info, "name");
  record.station = Text(metadata, "station");
  record.order = Text(metadata, "order");
  record.person = Text(metadata, "operator");
  record.version = Text(start, "version");
  record.command = Text(start, "commandLine");
}

void Measure(Step& step, const json& measurement) {
  const std::string name = Text(measurement, "name");
  if (name == "waits") {
    step.waits = Number(measurement, "value");
  } else if (name == "repeats") {
    step.repeats = Number(measurement, "value");
  } else {
    step.values.push_back(ReadValue(measurement));
  }
}

}  // namespace

std::map<std::string, std::string> SettingsOf(const std::string& start) {
  std::map<std::string, std::string> settings;
  const json object = json::parse(start, nullptr, false);
  Flatten(Member(Member(object, "testRunArtifact"), "testRunStart"), "", 0, settings);
  return settings;
}

std::string TestOf(std::string_view step) { return std::string(step.substr(0, step.find('.'))); }

// Takes what has arrived, a whole block or less: the other end may be a serial
// port. A line grows to kLongestLine and a block at most.
void Reader::Read(std::istream& lines) {
  std::string line;
  std::array<char, kBlock> block;
  std::streambuf& bytes = *lines.rdbuf();
  while (bytes.sgetc() != std::char_traits<char>::eof()) {
    const auto size =
        bytes.sgetn(block.data(), std::min<std::streamsize>(std::max<std::streamsize>(1, bytes.in_avail()), kBlock));
    std::string_view rest(block.data(), static_cast<std::size_t>(size));
    for (std::size_t end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
      TakeLine(line.append(rest.substr(0, end)));
      line.clear();
      rest.remove_prefix(end + 1);
    }
    if (line.size() <= kLongestLine) line.append(rest);
  }
  if (!line.empty()) TakeLine(line);
  Finish();
}

void Reader::TakeLine(std::string_view line) {
  ++line_;
  if (line.size() > kLongestLine) return Damaged("a line of more than 1 MiB is none of a record");
  std::string_view text = WithoutControls(line);
  if (text.empty()) return;
  if (first_) pure_ = pure_ || text.front() == '{';
  first_ = false;
  if (text.starts_with(kMark)) {
    text.remove_prefix(kMark.size());
  } else if (!pure_) {
    return;
  }
  TakeObject(text);
}

void Reader::Damaged(const char* what) {
  ++damaged_;
  complain_(line_, what);
}

void Reader::TakeObject(std::string_view text) {
  const json object = json::parse(text, nullptr, false);
  if (!object.is_object()) return Damaged("no whole JSON object");
  const json& sequence = Member(object, "sequenceNumber");
  const std::string time = Text(object, "timestamp");
  if (!sequence.is_number_unsigned() || sequence.get<std::uint64_t>() >= kMostLines ||
      (time != record_.ended && !ParseTime(time))) {
    return Damaged("no sequenceNumber and timestamp of a record");
  }
  const auto number = sequence.get<long>();
  const json& version = Member(object, "schemaVersion");
  if (version.is_object() && Number(version, "major") != 2)
    return Damaged("a version of the format that is not known here");
  if (version.is_object() || !open_ || number < expected_) Begin();
  Follow(number);
  record_.ended = time;
  if (version.is_object()) return;
  const json& run = Member(object, "testRunArtifact");
  const json& step = Member(object, "testStepArtifact");
  const bool known = run.is_object() ? TakeRunArtifact(run, time, text) : TakeStepArtifact(step, time);
  if (!known) complain_(line_, "nothing that a record has at this place");
  if (!end_.empty()) Finish();
}

void Reader::Begin() {
  Finish();
  record_ = {};
  step_times_.clear();
  end_.clear();
  expected_ = 0;
  open_ = true;
}

void Reader::Follow(long number) {
  if (number - expected_ > damaged_) {
    complain_(line_, "lines are missing before this one: its number is " + std::to_string(number) + ", and " +
                         std::to_string(expected_) + " was due");
  }
  record_.missing += number - expected_;
  expected_ = number + 1;
  damaged_ = 0;
  ++record_.lines;
}

bool Reader::TakeRunArtifact(const json& artifact, const std::string& time, std::string_view text) {
  const json& start = Member(artifact, "testRunStart");
  const json& end = Member(artifact, "testRunEnd");
  const json& log = Member(artifact, "log");
  const json& error = Member(artifact, "error");
  if (start.is_object() && record_.started.empty()) {
    Start(record_, start, time);
    record_.start = text;
  } else if (end.is_object()) {
    end_ = Text(end, "status") + "/" + Text(end, "result");
  } else if (log.is_object()) {
    Note(StepOf(record_, kRun), log);
  } else if (error.is_object()) {
    AddError(StepOf(record_, kRun), error);
  } else {
    return false;
  }
  return true;
}

bool Reader::TakeStepArtifact(const json& artifact, const std::string& time) {
  const std::string id = Text(artifact, "testStepId");
  if (id.empty() || id == kRun) return false;
  Step& step = StepOf(record_, id);
  if (const json& start = Member(artifact, "testStepStart"); start.is_object()) {
    step.title = Text(start, "name");
    step_times_[id] = time;
  } else if (const json& measurement = Member(artifact, "measurement"); measurement.is_object()) {
    Measure(step, measurement);
  } else if (const json& diagnosis = Member(artifact, "diagnosis"); diagnosis.is_object()) {
    if (Text(diagnosis, "type") != "FAIL") return true;
    step.findings.push_back({.code = Text(diagnosis, "verdict"), .message = Text(diagnosis, "message")});
  } else if (const json& error = Member(artifact, "error"); error.is_object()) {
    AddError(step, error);
  } else if (const json& log = Member(artifact, "log"); log.is_object()) {
    Note(step, log);
  } else if (const json& end = Member(artifact, "testStepEnd"); end.is_object()) {
    step.verdict = VerdictOf(step, Text(end, "status"));
    const auto started = ParseTime(step_times_[id]);
    if (started) step.seconds = (*ParseTime(time) - *started).count();
  } else {
    return artifact.contains("file") || artifact.contains("extension");
  }
  return true;
}

void Reader::Finish() {
  if (!open_) return;
  open_ = false;
  if (record_.started.empty()) {
    complain_(line_, "a record without its testRunStart ends here: its " + std::to_string(record_.lines) +
                         " lines name no unit and are not stored");
    return;
  }
  for (Step& step : record_.steps) {
    if (step.verdict.empty() && step.id != kRun) step.verdict = VerdictOf(step, record_.missing == 0 ? "" : kLost);
  }
  MarkOutside(record_.steps);
  std::ranges::for_each(record_.steps, Explain);
  record_.verdict = Judge(record_, end_);
  for (Step& step : record_.steps) {
    if (step.id == kRun && !step.findings.empty()) step.verdict = "ERROR";
  }
  ++records_;
  on_record_(std::move(record_));
  record_ = {};
}

}  // namespace mfgline
