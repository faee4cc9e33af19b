// SPDX-License-Identifier: BSD-2-Clause-Patent
// replay: runs the module and the test library on the machine of a dump.
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>

#include "replay/files.h"
#include "replay/learn.h"
#include "replay/options.h"
#include "replay/run.h"
#include "replay/text.h"
#include "replay/unknown_memory.h"
#include "simulation/fault.h"

namespace {

using namespace replay;

constexpr int kError = 2;
constexpr std::uint64_t kTellingWait = 100'000;  // microseconds

void Remark(const std::string& text) { std::cerr << "replay: " << text << "\n"; }

// A console shows "\r\n" as a line end.
void ShowOnTerminal(std::u16string_view text) {
  std::string narrow = ToUtf8(text);
  std::erase(narrow, '\r');
  std::cout << narrow << std::flush;
}

void TypeFromTerminal(simulation::Console& console) {
  std::string line;
  if (!std::getline(std::cin, line)) {
    throw BadInput("the run waits for a key, and there is no more input. --answer gives an answer in advance.");
  }
  const std::u16string keys = FromUtf8(line) + u'\r';
  console.keys.insert(console.keys.end(), keys.begin(), keys.end());
}

void RemarkOnRun(const simulation::Machine& machine, bool waited) {
  char text[80];
  std::snprintf(text, sizeof text, "waits of %.1f s were %s", static_cast<double>(machine.stalled_microseconds) / 1e6,
                waited ? "waited for" : "counted, not waited for");
  if (machine.stalled_microseconds >= kTellingWait) Remark(text);
  std::map<std::string, int> writes;
  for (const std::string& write : machine.writes) ++writes[write];
  for (const auto& [what, count] : writes) {
    Remark("the run wrote to the machine (" + what + ", " + std::to_string(count) +
           " times): in memory only, the dump is as it was");
  }
  for (const std::uint64_t page : UnknownPages()) {
    Remark("the run read memory at " + Hexadecimal(page) + " that is not in the dump; it reads as 0xFF here");
  }
}

int ExitStatus(Verdict verdict) {
  switch (verdict) {
    case Verdict::kFail:
      return 1;
    case Verdict::kError:
      return kError;
    case Verdict::kSkip:
      return 3;
    default:
      return 0;
  }
}

// What the run is told to write, and the file that it is to be here.
constexpr const char* kRecord = "record.jsonl";

void WriteRecord(const simulation::ModernShell& shell, const std::string& file) {
  const auto record = shell.files.find(FromUtf8(kRecord));
  if (record == shell.files.end()) return Remark("there was no run, so there is no record");
  std::ofstream out(file, std::ios::binary);
  out.write(reinterpret_cast<const char*>(record->second.data()), static_cast<std::streamsize>(record->second.size()));
  if (!out.flush()) throw BadInput(file + ": the record cannot be written there");
}

int Run(Options options) {
  if (!options.record.empty()) options.words.push_back(std::string("--record=") + kRecord);
  const MachineData data = ReadMachine(options);
  for (const std::string& remark : data.remarks) Remark(remark);
  ReplayedMachine machine(data);
  AddFiles(machine.shell, options.files);
  ServeUnknownMemory();
  Session session(machine, options.waits_for_real);
  simulation::Console& console = machine.machine.console;
  console.on_write = ShowOnTerminal;
  console.on_wait = [&] { TypeFromTerminal(console); };
  const Verdict verdict =
      options.action == Options::Action::kRunLine ? session.RunLine(options.words) : session.Run(options.words);
  console.on_write = nullptr;
  RemarkOnRun(machine.machine, options.waits_for_real);
  if (!options.record.empty()) WriteRecord(machine.shell, options.record);
  return ExitStatus(verdict);
}

Unit LearnFrom(const std::string& source, Options options) {
  if (!source.empty() && !std::filesystem::is_directory(source)) return LearnFromRecord(source);
  options.dumps = source.empty() ? std::vector<std::string>() : std::vector{source};
  const MachineData data = ReadMachine(options);
  for (const std::string& remark : data.remarks) Remark(remark);
  std::string complaint;
  Unit unit = LearnFromMachine(data, options.files, options.words, &complaint);
  if (complaint.empty()) return unit;
  throw BadInput((source.empty() ? "this machine" : source) + " is no golden unit, Autosense does not pass on it:\n" +
                 complaint);
}

int Learn(const Options& options) {
  ServeUnknownMemory();
  std::vector<Unit> units;
  if (options.dumps.empty()) units.push_back(LearnFrom("", options));
  for (const std::string& source : options.dumps) units.push_back(LearnFrom(source, options));
  std::cout << ParameterFile(units);
  return 0;
}

int Act(const Options& options) {
  switch (options.action) {
    case Options::Action::kShowHelp:
      std::cout << kHelpText;
      return 0;
    case Options::Action::kShowGdbHelp:
      std::cout << kGdbHelpText;
      return 0;
    case Options::Action::kLearn:
      return Learn(options);
    default:
      return Run(options);
  }
}

}  // namespace

int main(int argc, char** argv) {
  simulation::fault_handler = [](const std::string& what) { throw std::runtime_error(what); };
  try {
    return Act(ReadOptions({argv + 1, argv + argc}));
  } catch (const std::exception& fault) {
    std::cout << std::flush;
    Remark(fault.what());
    return kError;
  }
}
