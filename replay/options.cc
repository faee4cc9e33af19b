// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "replay/options.h"

#include <algorithm>
#include <charconv>

#include "replay/text.h"
#include "simulation/management_controller.h"

namespace replay {
namespace {

std::uint8_t Byte(std::string_view text, int base, const std::string& word) {
  unsigned number = 0;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    text.remove_prefix(2);
    base = 16;
  }
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (fault == std::errc() && end == text.data() + text.size() && number <= 0xFF) {
    return static_cast<std::uint8_t>(number);
  }
  throw BadInput("--fru " + word + ": expected ID=FILE, or ID@ADDRESS=FILE for a device behind C0 or C2");
}

void AddFru(Options& options, const std::string& word) {
  const std::size_t sign = std::min(word.find('='), word.size());
  const std::string place = word.substr(0, sign);
  const std::size_t at = place.find('@');
  FruFile fru{simulation::kControllerAddress, Byte(place.substr(0, at), 10, word),
              word.substr(std::min(sign + 1, word.size()))};
  if (at != place.npos) fru.address = Byte(place.substr(at + 1), 16, word);
  if (fru.file.empty()) Byte("", 10, word);
  options.frus.push_back(fru);
}

void SetSmbios(Options& options, const std::string& word) { options.smbios = word; }

void AddFile(Options& options, const std::string& word) {
  options.files.push_back(word);
  options.words.push_back("--file=" + word);
}

void SetRecord(Options& options, const std::string& word) { options.record = word; }

void WaitForReal(Options& options, const std::string&) { options.waits_for_real = true; }
void ShowHelp(Options& options, const std::string&) { options.action = Options::Action::kShowHelp; }
void ShowGdbHelp(Options& options, const std::string&) { options.action = Options::Action::kShowGdbHelp; }

struct Option {
  const char* name;
  char letter;  // 0 for none
  bool takes_value;
  // Null for the test library's own.
  void (*apply)(Options& options, const std::string& value);
};

constexpr Option kOptions[] = {
    {"smbios", 0, true, SetSmbios},       {"fru", 0, true, AddFru},       {"file", 'f', true, AddFile},
    {"real-time", 0, false, WaitForReal}, {"help", 'h', false, ShowHelp}, {"gdb-help", 0, false, ShowGdbHelp},
    {"trace", 0, false, nullptr},         {"debug", 'd', true, nullptr},  {"answer", 'a', true, nullptr},
    {"param", 'p', true, nullptr},        {"test", 't', true, nullptr},   {"delay-scale", 's', true, nullptr},
    {"show", 'n', false, nullptr},        {"list", 'l', false, nullptr},  {"record", 'r', true, SetRecord},
};

bool IsOption(const std::string& word) { return word.size() > 1 && word[0] == '-'; }

// The option that a word names, and where a value that is part of it begins.
const Option* FindOption(const std::string& word, std::size_t* value_at) {
  const bool is_long = word[1] == '-';
  const std::size_t end = is_long ? std::min(word.find('='), word.size()) : 2;
  *value_at = is_long && end < word.size() ? end + 1 : end;
  for (const Option& option : kOptions) {
    if (is_long ? word.substr(2, end - 2) == option.name : option.letter == word[1]) return &option;
  }
  throw BadInput("unknown option " + word + ". replay --help shows the options.");
}

// Takes the option at `at`, and its value when that is a word of its own.
void ReadOption(const std::vector<std::string>& words, std::size_t& at, Options& options) {
  const std::string& word = words[at];
  std::size_t value_at = 0;
  const Option& option = *FindOption(word, &value_at);
  const bool has_value = value_at < word.size();
  if (has_value && !option.takes_value) throw BadInput(word + ": this option takes no value");
  if (option.takes_value && !has_value && at + 1 == words.size()) throw BadInput(word + ": this option needs a value");
  const bool is_apart = option.takes_value && !has_value;
  const std::string value = is_apart ? words[at + 1] : word.substr(std::min(value_at, word.size()));
  if (option.apply != nullptr) {
    option.apply(options, value);
  } else {
    options.words.push_back(word);
    if (is_apart) options.words.push_back(value);
  }
  if (is_apart) ++at;
}

bool IsNumber(const std::string& word) { return !word.empty() && word[0] >= '0' && word[0] <= '9'; }

// What the line, or the module, reads itself.
bool IsForTheMachine(const std::string& word, const Options& options) {
  if (options.action == Options::Action::kRunLine && (word == "stop" || word == "write")) return true;
  return word.find('=') != word.npos || (IsNumber(word) && !std::filesystem::is_directory(word));
}

void ReadPlainWord(const std::string& word, Options& options) {
  const bool is_first = options.action == Options::Action::kRun && options.dumps.empty() && options.words.empty();
  const std::size_t most_dumps = options.action == Options::Action::kLearn ? 2 : 1;
  if (word == "learn" && is_first) {
    options.action = Options::Action::kLearn;
  } else if (word == "line" && options.action == Options::Action::kRun) {
    options.action = Options::Action::kRunLine;
  } else if (IsForTheMachine(word, options)) {
    options.words.push_back(word);
  } else if (options.dumps.size() < most_dumps) {
    options.dumps.push_back(word);
  } else {
    throw BadInput("expected a test number, line, NAME=VALUE or an option, found \"" + word + "\"");
  }
}

void Check(const Options& options) {
  const bool has_files = options.smbios.has_value() || !options.frus.empty();
  if (options.action == Options::Action::kLearn && options.dumps.empty() && !has_files) {
    throw BadInput("learn: from which dump or record? replay --help shows the way.");
  }
  if (options.action != Options::Action::kRun && options.action != Options::Action::kRunLine) return;
  if (options.dumps.empty() && !has_files) {
    throw BadInput(
        "on which machine? Name the folder of a dump, or give --smbios or --fru. replay --help shows the way.");
  }
}

}  // namespace

Options ReadOptions(const std::vector<std::string>& words) {
  Options options;
  for (std::size_t at = 0; at < words.size(); ++at) {
    if (IsOption(words[at])) {
      ReadOption(words, at, options);
    } else {
      ReadPlainWord(words[at], options);
    }
  }
  Check(options);
  return options;
}

MachineData ReadMachine(const Options& options) {
  MachineData data;
  if (!options.dumps.empty()) data = ReadDump(options.dumps.front());
  if (options.smbios) data.smbios = ReadSmbios(*options.smbios, data.remarks);
  if (!options.frus.empty() && !data.controller) data.controller.emplace();
  for (const FruFile& fru : options.frus) {
    const Bytes image = ReadBytes(fru.file);
    if (image.empty() || image.size() > 0xFFFF) {
      throw BadInput(fru.file + ": ends at offset " + Hexadecimal(image.size()) +
                     ", a FRU device has 1 to 65535 bytes");
    }
    data.controller->frus[fru.address][fru.id] = image;
    std::erase_if(data.controller->refusals,
                  [&](const FruRefusal& one) { return one.address == fru.address && one.id == fru.id; });
  }
  return data;
}

const char* const kHelpText =
    "replay [DUMP] [options] TEST | line [stop] [write] [NAME=VALUE]...\n"
    "replay learn DUMP|RECORD [DUMP|RECORD] [options] [NAME=VALUE]... > mfgtest.cfg\n"
    "Runs the module and the test library on the machine of a dump. Exit status: 0 PASS,\n"
    "1 FAIL, 2 ERROR and bad input, 3 SKIP.\n"
    "  DUMP                  the folder that dump.efi wrote\n"
    "      --smbios FILE     a table instead of the dump's, or without a dump: a file of\n"
    "                        dmidecode --dump-bin, or a folder with the kernel's DMI and\n"
    "                        smbios_entry_point (/sys/firmware/dmi/tables)\n"
    "      --fru ID=FILE     a FRU device likewise: a file of ipmitool fru read ID FILE;\n"
    "                        ID@C0=FILE is one behind the backplane's controller\n"
    "  -f, --file PATH       a parameter file; no other is read\n"
    "  -d, --debug MASK      debug messages to show\n"
    "  -a, --answer TEXT     the operator's answer, in advance\n"
    "  -r, --record FILE     the record of the run, as the machine would write it\n"
    "      --trace           every call of the test library as a line\n"
    "      --real-time       waits are waited for, not only counted\n"
    "      --gdb-help        how to stop in a test under gdb\n"
    "  -h, --help            this text\n"
    "learn writes a parameter file with what Autosense finds; what differs between two\n"
    "machines becomes a question to the operator. Flash and variables are written in\n"
    "memory only, and a controller that answers differently each time answers alike.\n";

const char* const kGdbHelpText =
    "gdb -ex 'handle SIGSEGV nostop noprint pass' --args build/tools/replay DUMP 4 -f mfgtest.cfg\n"
    "(gdb) break mfgtest::VerifySystemString\n"
    "(gdb) run\n"
    "module/catalogue.cc names the routine of each test. Memory that a dump does not hold is\n"
    "served by that signal.\n";

}  // namespace replay
