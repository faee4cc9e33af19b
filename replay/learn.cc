// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "replay/learn.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "replay/files.h"
#include "replay/run.h"
#include "replay/text.h"
#include "testlib/state.h"

// The linker's view of the sample, which is part of this program.
asm(".pushsection .rodata\n"
    ".global sample_begin, sample_end\n"
    "sample_begin: .incbin \"" SAMPLE_FILE
    "\"\n"
    "sample_end: .byte 0\n"
    ".popsection");
extern "C" const char sample_begin[];
extern "C" const char sample_end[];

namespace replay {
namespace {

using nlohmann::json;

constexpr const char* kAsk = "ask";
constexpr std::string_view kSampleName = "the station's sample";

// A line of the sample that gives a parameter, or would.
struct SampleLine {
  std::string name;
  std::string before_value;  // all of it, up to the blank behind the sign
  std::string value;
  bool is_comment = false;
};

// False for a line that is something else.
bool ReadSampleLine(const std::string& line, SampleLine* sample) {
  const std::size_t start = line.starts_with('#') ? 1 : 0;
  const std::size_t name_end = line.find_first_of(" =", start);
  const std::size_t sign = line.find("= ", start);
  const bool is_parameter =
      name_end != line.npos && name_end > start && sign != line.npos && line.find_first_not_of(' ', name_end) == sign;
  if (!is_parameter) return false;
  *sample = {line.substr(start, name_end - start), line.substr(start, sign + 2 - start), line.substr(sign + 2),
             start == 1};
  return true;
}

bool IsMemory(const std::string& name) {
  return name.starts_with("Memory") && name.size() > 6 && name[6] >= '0' && name[6] <= '9';
}

// What the sample gives as an expected value, and Autosense publishes where the
// machine has it. All else says how to look, or when to be content.
bool IsExpectedValue(const std::string& name) {
  constexpr std::string_view kPrefixes[] = {"System_", "Board_", "Chassis_", "SYS_BOARDS_"};
  constexpr std::string_view kNames[] = {"OEM_BIOS_String", "BIOS_ID", "OEM_TABLE_ID"};
  return IsMemory(name) || std::ranges::any_of(kPrefixes, [&](auto prefix) { return name.starts_with(prefix); }) ||
         std::ranges::find(kNames, name) != std::end(kNames);
}

// A value as a parameter file has it; empty for one that no file can hold.
std::string Quoted(const std::string& name, const std::string& value) {
  const auto is_control = [](unsigned char c) { return c < ' ' || c == 0x7F; };
  if (std::ranges::any_of(value, is_control)) return "";
  if (name == "Chassis_Type" && !value.empty() && value.find_first_not_of("0123456789") == value.npos) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%02llX", std::strtoull(value.c_str(), nullptr, 10));
    return text;
  }
  const bool needs_marks = value.empty() || value.front() == ' ' || value.back() == ' ' || value.front() == '"' ||
                           value.front() == '#' || value.find(" #") != value.npos || value == kAsk ||
                           value.starts_with("ask:");
  if (!needs_marks) return value;
  return value.find('"') == value.npos ? "\"" + value + "\"" : "";
}

// The file in the making.
struct Writer {
  const std::vector<Unit>& units;
  std::ostringstream text{};
  std::map<std::string, bool> written{};

  // The value that all units have, `ask` where they differ; null without one.
  const std::string* Learned(const std::string& name, std::string* value) const {
    const auto of = [&](const Unit& unit) {
      const auto found = unit.results.find(name);
      return found == unit.results.end() ? nullptr : &found->second;
    };
    const std::string* const first = of(units.front());
    const bool differs = std::ranges::any_of(units, [&](const Unit& unit) {
      const std::string* const other = of(unit);
      return (other == nullptr) != (first == nullptr) || (first != nullptr && *other != *first);
    });
    if (!differs && first == nullptr) return nullptr;
    *value = differs ? kAsk : Quoted(name, *first);
    return value;
  }

  void Write(const std::string& name, const std::string& before_value) {
    std::string value;
    written[name] = true;
    if (Learned(name, &value) == nullptr) {
      text << "# " << name << ": Autosense finds none on this machine\n";
    } else if (value.empty()) {
      text << "# " << name << ": this machine's value cannot stand in a file\n";
    } else {
      text << before_value << value << "\n";
    }
  }

  // All that the units have of what belongs to it, where the sample has the
  // first of it.
  void WriteMemory() {
    for (unsigned device = 0; device < 256; ++device) {
      for (const char* const field : {"DeviceLocator", "BankLocator", "Speed", "Size"}) {
        std::string name = "Memory" + std::to_string(device) + "_" + field;
        std::string value;
        if (written[name] || Learned(name, &value) == nullptr) continue;
        std::string padded = name;
        padded.resize(std::max<std::size_t>(padded.size(), 22), ' ');
        Write(name, padded + " = ");
      }
    }
  }

  void WriteSetting(const SampleLine& sample, const std::string& line) {
    const auto& parameters = units.front().parameters;
    const auto given = parameters.find(sample.name);
    written[sample.name] = true;
    const bool is_other = given != parameters.end() && (sample.is_comment || given->second != sample.value);
    text << (is_other ? sample.before_value + Quoted(sample.name, given->second) : line) << "\n";
  }
};

std::map<std::string, std::string> Effective() {
  std::map<std::string, std::string> parameters;
  for (const testlib::Parameter& one : testlib::state->parameters.All()) {
    parameters[ToUtf8(one.name.data())] = ToUtf8(one.value.data());
  }
  return parameters;
}

std::string TextOf(const json& value) { return value.is_string() ? value.get<std::string>() : value.dump(); }

// A line of a record that says something about Autosense or its parameters.
void TakeArtifact(const json& line, Unit& unit, bool* has_autosense) {
  if (line.contains("testRunArtifact") && line["testRunArtifact"].contains("testRunStart")) {
    for (const auto& [name, value] : line["testRunArtifact"]["testRunStart"].at("parameters").items()) {
      unit.parameters[name] = TextOf(value);
    }
  }
  if (!line.contains("testStepArtifact")) return;
  const json& step = line["testStepArtifact"];
  if (step.at("testStepId") != "0") return;
  *has_autosense = true;
  if (step.contains("measurement")) {
    unit.results[step["measurement"].at("name").get<std::string>()] = TextOf(step["measurement"].at("value"));
  }
}

}  // namespace

std::string_view SampleFile() { return {sample_begin, static_cast<std::size_t>(sample_end - sample_begin)}; }

Unit LearnFromMachine(const MachineData& data, const std::vector<std::string>& files,
                      const std::vector<std::string>& words, std::string* complaint) {
  ReplayedMachine machine(data);
  AddFiles(machine.shell, files);
  const std::string_view sample = SampleFile();
  machine.shell.files[FromUtf8(kSampleName)] = {sample.begin(), sample.end()};
  Session session(machine, false);
  machine.machine.console.written.clear();
  std::vector<std::string> arguments = {"0", "--file=" + std::string(kSampleName)};
  arguments.insert(arguments.end(), words.begin(), words.end());
  if (session.Run(arguments) != Verdict::kPass) *complaint = ToUtf8(machine.machine.console.written);
  Unit unit{.parameters = Effective()};
  for (const testlib::Result& result : testlib::state->results.All()) {
    unit.results[ToUtf8(result.key.data())] = ToUtf8(result.value.data());
  }
  return unit;
}

Unit LearnFromRecord(const std::filesystem::path& file) {
  Unit unit;
  bool has_autosense = false;
  std::ifstream stream(file);
  std::size_t number = 1;
  for (std::string line; std::getline(stream, line); ++number) {
    try {
      TakeArtifact(json::parse(line), unit, &has_autosense);
    } catch (const json::exception&) {
      throw BadInput(file.string() + ": line " + std::to_string(number) +
                     " is no line of a record: expected a dump's folder or a record");
    }
  }
  if (has_autosense) return unit;
  throw BadInput(file.string() + ": the record holds no run of Autosense, test 0");
}

std::string ParameterFile(const std::vector<Unit>& units) {
  Writer writer{units};
  bool has_memory = false;
  std::istringstream lines{std::string(SampleFile())};
  for (std::string line; std::getline(lines, line);) {
    SampleLine sample;
    if (!ReadSampleLine(line, &sample)) {
      writer.text << line << "\n";
    } else if (IsMemory(sample.name)) {
      if (!std::exchange(has_memory, true)) writer.WriteMemory();
    } else if (IsExpectedValue(sample.name)) {
      writer.Write(sample.name, sample.before_value);
    } else {
      writer.WriteSetting(sample, line);
    }
  }
  return writer.text.str();
}

}  // namespace replay
