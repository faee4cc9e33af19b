// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/scenario.h"

#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>

#include "simulation/text.h"

namespace simulation {
namespace {

// A field of a structure: a string that an option sets, or bytes that stand as
// they are.
struct QemuField {
  std::string option;
  std::vector<std::uint8_t> bytes;
};

struct QemuStructure {
  std::uint16_t handle;
  std::vector<QemuField> fields;
};

const std::map<std::string, QemuStructure>& QemuStructures() {
  static const std::map<std::string, QemuStructure> structures = {
      {"1",
       {0x100,
        {{"manufacturer", {}},
         {"product", {}},
         {"version", {}},
         {"serial", {}},
         {"", std::vector<std::uint8_t>(16, 0)},  // UUID
         {"", {6}},                               // woken by the power switch
         {"sku", {}},
         {"family", {}}}}},
      {"2",
       {0x200,
        {{"manufacturer", {}},
         {"product", {}},
         {"version", {}},
         {"serial", {}},
         {"asset", {}},
         {"", {1}},  // hosts the processor
         {"location", {}},
         {"", {0x00, 0x03, 0x0A, 0}}}}},  // chassis handle, motherboard, contains nothing
      {"3",
       {0x300,
        {{"manufacturer", {}},
         {"", {1}},  // chassis type "other"
         {"version", {}},
         {"serial", {}},
         {"asset", {}},
         {"", {3, 3, 3, 2, 0, 0, 0, 0, 0, 0, 0, 0}},  // states, OEM, height, cords, contains nothing
         {"sku", {}}}}},
  };
  return structures;
}

std::pair<std::string, std::string> SplitAt(const std::string& text, char separator) {
  const std::size_t at = text.find(separator);
  if (at == std::string::npos) throw std::runtime_error("no '" + std::string(1, separator) + "' in: " + text);
  return {text.substr(0, at), text.substr(at + 1)};
}

// name=value pairs between commas.
std::map<std::string, std::string> ParseOption(const std::string& option) {
  std::map<std::string, std::string> settings;
  std::istringstream parts(option);
  for (std::string part; std::getline(parts, part, ',');) settings.insert(SplitAt(part, '='));
  return settings;
}

// Words between blanks; a word with blanks stands in quotation marks.
std::vector<std::string> Words(const std::string& line) {
  std::vector<std::string> words;
  bool quoted = false;
  bool in_word = false;
  for (const char c : line) {
    if (c == '"') quoted = !quoted;
    const bool separates = c == ' ' && !quoted;
    if (!separates && !in_word) words.emplace_back();
    in_word = !separates;
    if (in_word && c != '"') words.back() += c;
  }
  return words;
}

void ParseCommandLine(const std::string& line, Scenario& scenario) {
  for (const std::string& word : Words(line)) {
    scenario.words.push_back(Widen(word));
    if (word.find('=') == std::string::npos) {
      scenario.test = static_cast<std::uint32_t>(std::stoul(word, nullptr, 0));
    } else {
      const auto [name, value] = SplitAt(word, '=');
      scenario.parameters[Widen(name)] = Widen(value);
    }
  }
}

void ParseVariable(const std::string& line, Scenario& scenario) {
  const auto [name, value] = SplitAt(line, '=');
  scenario.variables[Widen(name)] = Widen(value);
}

using SectionParser = std::function<void(const std::string& line, Scenario& scenario)>;

const std::map<std::string, SectionParser>& Sections() {
  static const std::map<std::string, SectionParser> sections = {
      {"[smbios]", [](const std::string& line, Scenario& scenario) { scenario.smbios.push_back(line); }},
      {"[variables]", ParseVariable},
      {"[command line]", ParseCommandLine},
      {"[transcript]", [](const std::string& line, Scenario& scenario) { scenario.transcript.push_back(line); }},
  };
  return sections;
}

void ParseLine(const std::string& line, const SectionParser*& section, Scenario& scenario) {
  if (line.empty() || line.starts_with('#')) return;
  const auto header = Sections().find(line);
  if (header != Sections().end()) {
    section = &header->second;
  } else if (section == nullptr || line.starts_with('[')) {
    throw std::runtime_error("not a section: " + line);
  } else {
    (*section)(line, scenario);
  }
}

}  // namespace

Scenario ReadScenario(const std::filesystem::path& file) {
  std::ifstream stream(file);
  if (!stream) throw std::runtime_error("cannot read " + file.string());
  Scenario scenario;
  const SectionParser* section = nullptr;
  std::string line;
  for (unsigned number = 1; std::getline(stream, line); ++number) {
    try {
      ParseLine(line, section, scenario);
    } catch (const std::exception& error) {
      throw std::runtime_error(file.string() + ":" + std::to_string(number) + ": " + error.what());
    }
  }
  return scenario;
}

SmbiosTable QemuSmbiosTable(const std::vector<std::string>& options) {
  SmbiosTable table;
  for (const std::string& option : options) {
    auto settings = ParseOption(option);
    const std::string type = settings.at("type");
    const QemuStructure& structure = QemuStructures().at(type);
    settings.erase("type");
    std::vector<std::uint8_t> fields;
    std::vector<std::string> strings;
    for (const QemuField& field : structure.fields) {
      fields.insert(fields.end(), field.bytes.begin(), field.bytes.end());
      if (field.option.empty()) continue;
      if (const auto setting = settings.extract(field.option)) {
        strings.push_back(setting.mapped());
        fields.push_back(static_cast<std::uint8_t>(strings.size()));
      } else {
        fields.push_back(0);
      }
    }
    if (!settings.empty()) throw std::runtime_error("unknown setting of type " + type + ": " + settings.begin()->first);
    table.Add(static_cast<std::uint8_t>(std::stoul(type)), structure.handle, fields, strings);
  }
  return table;
}

}  // namespace simulation
