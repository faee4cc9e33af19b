// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/controller_file.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <sstream>
#include <stdexcept>

namespace simulation {
namespace {

using Words = std::vector<std::string>;

Words SplitWords(const std::string& line) {
  std::istringstream stream(line);
  Words words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

std::string Trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t\r");
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin);
}

// Quotation marks keep blanks at the ends.
std::string Unquoted(const std::string& text) {
  const bool quoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
  return quoted ? text.substr(1, text.size() - 2) : text;
}

unsigned Number(std::string_view text, int base, unsigned most) {
  if (base == 0) base = text.starts_with("0x") ? 16 : 10;
  if (text.starts_with("0x")) text.remove_prefix(2);
  unsigned number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end != text.data() + text.size() || number > most) {
    throw std::runtime_error("expected a number up to " + std::to_string(most) + ", found \"" + std::string(text) +
                             "\"");
  }
  return number;
}

std::uint8_t Byte(std::string_view text, int base = 0) { return static_cast<std::uint8_t>(Number(text, base, 0xFF)); }

bool IsByte(const std::string& word) {
  const auto is_digit = [](char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'); };
  return word.size() >= 2 && is_digit(word[0]) && is_digit(word[1]) && (word.size() == 2 || word[2] == '*');
}

std::chrono::year_month_day Date(const std::string& text) {
  int year = 0;
  unsigned month = 0;
  unsigned day = 0;
  char dashes[2] = {};
  std::istringstream(text) >> year >> dashes[0] >> month >> dashes[1] >> day;
  const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)};
  if (!date.ok() || dashes[0] != '-' || dashes[1] != '-') throw std::runtime_error("expected a date, found " + text);
  return date;
}

struct FieldName {
  std::string_view area;
  std::string_view name;
  std::optional<FruArea> FruDescription::*where;
  std::size_t index;
};

constexpr FieldName kFields[] = {
    {"chassis", "part", &FruDescription::chassis, 0},     {"chassis", "serial", &FruDescription::chassis, 1},
    {"board", "manufacturer", &FruDescription::board, 0}, {"board", "product", &FruDescription::board, 1},
    {"board", "serial", &FruDescription::board, 2},       {"board", "part", &FruDescription::board, 3},
    {"board", "file", &FruDescription::board, 4},         {"product", "manufacturer", &FruDescription::product, 0},
    {"product", "product", &FruDescription::product, 1},  {"product", "part", &FruDescription::product, 2},
    {"product", "version", &FruDescription::product, 3},  {"product", "serial", &FruDescription::product, 4},
    {"product", "asset", &FruDescription::product, 5},    {"product", "file", &FruDescription::product, 6},
};

FruArea& AreaNamed(FruDescription& fru, const std::string& name) {
  const auto* const field = std::ranges::find(kFields, name, &FieldName::area);
  if (field == std::end(kFields)) throw std::runtime_error("there is no area " + name);
  std::optional<FruArea>& area = fru.*field->where;
  if (!area) area.emplace();
  // All fields of the standard are there, empty ones too.
  area->fields.resize(std::max<std::size_t>(area->fields.size(), std::ranges::count(kFields, name, &FieldName::area)));
  return *area;
}

void SetField(FruDescription& fru, const std::string& area_name, const std::string& name, const std::string& value) {
  FruArea& area = AreaNamed(fru, area_name);
  if (name == "extra") return area.fields.push_back(value);
  for (const FieldName& field : kFields) {
    if (field.area == area_name && field.name == name) area.fields[field.index] = value;
    if (field.area == area_name && field.name == name) return;
  }
  throw std::runtime_error("there is no " + area_name + " field " + name);
}

void SetFruLine(FruDescription& fru, const std::string& key, const std::string& value) {
  const Words words = SplitWords(key);
  if (key == "size") {
    fru.size = Number(value, 0, 0x10000);
  } else if (key == "chassis type") {
    AreaNamed(fru, "chassis");
    fru.chassis_type = Byte(value);
  } else if (key == "board date") {
    AreaNamed(fru, "board");
    fru.board_minutes = FruMinutes(Date(value));
  } else if (key == "board minutes") {
    AreaNamed(fru, "board");
    fru.board_minutes = Number(value, 0, 0xFFFFFF);
  } else if (words.size() == 2 && words[0] == "byte") {
    fru.bytes[static_cast<std::uint16_t>(Number(words[1], 0, 0xFFFF))] = Byte(value);
  } else if (words.size() == 2 && words[1] == "offset") {
    AreaNamed(fru, words[0]).offset = static_cast<std::uint16_t>(Number(value, 0, 0x7F8));
  } else if (words.size() == 2) {
    SetField(fru, words[0], words[1], value);
  } else {
    throw std::runtime_error("there is no such line in a FRU: " + key);
  }
}

constexpr std::array<std::pair<std::string_view, Misbehaviour::Kind>, 10> kKinds = {{
    {"answer", Misbehaviour::Kind::kAnswer},
    {"silence", Misbehaviour::Kind::kSilence},
    {"refusal", Misbehaviour::Kind::kRefusal},
    {"receive-error", Misbehaviour::Kind::kReceiveError},
    {"hang-up", Misbehaviour::Kind::kHangUp},
    {"late", Misbehaviour::Kind::kLate},
    {"checksum", Misbehaviour::Kind::kChecksum},
    {"responder", Misbehaviour::Kind::kResponder},
    {"command", Misbehaviour::Kind::kCommand},
    {"net-function", Misbehaviour::Kind::kNetFunction},
}};

// Bytes as far as they go; "55*300" stands for 300 of them.
Bytes TakeBytes(const Words& words, std::size_t& at) {
  Bytes bytes;
  for (; at < words.size() && IsByte(words[at]); ++at) {
    const std::size_t count = words[at].size() == 2 ? 1 : Number(words[at].substr(3), 10, 0xFFFF);
    bytes.insert(bytes.end(), count, Byte(words[at].substr(0, 2), 16));
  }
  return bytes;
}

bool TakesArguments(Misbehaviour::Kind kind) {
  return kind != Misbehaviour::Kind::kSilence && kind != Misbehaviour::Kind::kRefusal &&
         kind != Misbehaviour::Kind::kHangUp && kind != Misbehaviour::Kind::kChecksum;
}

Misbehaviour ParseMisbehaviour(const std::string& line) {
  const Words words = SplitWords(line);
  std::size_t at = 0;
  Misbehaviour misbehaviour{.kind = Misbehaviour::Kind::kAnswer};
  if (words.size() > 1 && words[0] == "at") {
    misbehaviour.address = Byte(words[1], 16);
    at = 2;
  }
  misbehaviour.request = TakeBytes(words, at);
  const std::string name = at < words.size() ? words[at++] : "nothing";
  const auto* const kind = std::ranges::find(kKinds, name, &decltype(kKinds)::value_type::first);
  if (kind == kKinds.end()) throw std::runtime_error("expected what is done, found " + name);
  misbehaviour.kind = kind->second;
  misbehaviour.arguments = TakeBytes(words, at);
  if (misbehaviour.arguments.empty() == TakesArguments(misbehaviour.kind)) {
    throw std::runtime_error("wrong arguments of " + name);
  }
  for (; at + 1 < words.size(); at += 2) {
    if (words[at] != "after" && words[at] != "times") break;
    (words[at] == "after" ? misbehaviour.after : misbehaviour.times) = Number(words[at + 1], 10, 0xFFFF);
  }
  if (at != words.size()) throw std::runtime_error("expected \"after\" or \"times\" with a number");
  return misbehaviour;
}

class Parser {
 public:
  void TakeLine(const std::string& line) {
    if (line.empty() || line[0] == '#') return;
    if (line[0] == '[') return BeginSection(line);
    if (in_script_) return controller_.script.push_back(ParseMisbehaviour(line));
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) throw std::runtime_error("expected NAME = VALUE");
    const std::string key = Trimmed(line.substr(0, equals));
    const std::string value = Unquoted(Trimmed(line.substr(equals + 1)));
    if (fru_ != nullptr) return SetFruLine(*fru_, key, value);
    if (key == "oem code") {
      controller_.oem_code = Byte(value);
    } else if (key == "flags") {
      controller_.flags = Byte(value);
    } else {
      throw std::runtime_error("there is no such line: " + key);
    }
  }

  ManagementController Finish() {
    for (const auto& [place, fru] : frus_) controller_.frus[place.first][place.second] = BuildFruImage(fru);
    return std::move(controller_);
  }

 private:
  // [fru ID], [fru ID at ADDRESS] or [script]
  void BeginSection(const std::string& line) {
    const Words words = SplitWords(line.substr(1, line.find(']') - 1));
    in_script_ = words == Words{"script"};
    if (in_script_) return;
    const bool is_behind = words.size() == 4 && words[2] == "at";
    if (words.empty() || words[0] != "fru" || (words.size() != 2 && !is_behind)) {
      throw std::runtime_error("there is no such section: " + line);
    }
    fru_ = &frus_[{is_behind ? Byte(words[3], 16) : kControllerAddress, Byte(words[1])}];
  }

  ManagementController controller_;
  // By address and ID.
  std::map<std::pair<std::uint8_t, std::uint8_t>, FruDescription> frus_;
  FruDescription* fru_ = nullptr;
  bool in_script_ = false;
};

}  // namespace

ManagementController ParseController(std::string_view text) {
  Parser parser;
  std::istringstream lines{std::string(text)};
  std::string line;
  unsigned number = 1;
  try {
    for (; std::getline(lines, line); ++number) parser.TakeLine(Trimmed(line));
    return parser.Finish();
  } catch (const std::exception& fault) {
    throw std::runtime_error("line " + std::to_string(number) + ": " + fault.what());
  }
}

}  // namespace simulation
