// SPDX-License-Identifier: BSD-2-Clause-Patent
// What the operator gives: parameter files and the command line, taken by the
// real test library on a modern shell or on an EFI 1.x shell.
#include "fuzz/parameters.h"
#include "fuzz/driver.h"
#include "fuzz/targets.h"
#include "fuzz/whole_run.h"
#include "simulation/fault.h"
#include "simulation/modern_shell.h"
#include "simulation/old_shell.h"
#include "simulation/text.h"
#include "simulation/volume.h"
#include "testlib/state.h"

namespace fuzz {
namespace {

using simulation::Fault;
using CommandWords = std::vector<std::u16string>;

constexpr std::u16string_view kResult = u"\r\nRESULT test ";

std::size_t Count(std::u16string_view text, std::u16string_view wanted) {
  std::size_t count = 0;
  for (std::size_t at = text.find(wanted); at != text.npos; at = text.find(wanted, at + 1)) ++count;
  return count;
}

// What a modern shell is never asked for, and what an EFI 1.x shell may be: the
// verdict, and test 29's variable.
void CheckCommands(const simulation::ModernShell& shell, std::uint32_t) {
  if (!shell.commands.empty()) Fault("a command reached the shell");
}

void CheckCommands(const simulation::OldShell& shell, std::uint32_t test) {
  for (const auto& command : shell.commands) {
    const std::u16string_view line = command.line;
    const bool is_verdict = line == u"set -d \"MfgVerdict\"" || line == u"set -v \"MfgVerdict\" \"PASS\"" ||
                            line == u"set -v \"MfgVerdict\" \"FAIL\"" || line == u"set -v \"MfgVerdict\" \"ERROR\"";
    const bool is_of_test = test == 29 && (line.starts_with(u"set \"") || line.starts_with(u"set -d \""));
    if (!is_verdict && !is_of_test) Fault("a command reached the shell: " + simulation::Readable(line));
  }
}

std::u16string VerdictOn(const simulation::ModernShell&, const simulation::Machine& machine) {
  const simulation::Variable* const variable = machine.variables.Find(u"MfgVerdict", simulation::kShellVariableGuid);
  if (variable == nullptr) return u"";
  return {reinterpret_cast<const char16_t*>(variable->data.data()), variable->data.size() / sizeof(char16_t)};
}

std::u16string VerdictOn(const simulation::OldShell& shell, const simulation::Machine&) {
  constexpr std::u16string_view kSet = u"set -v \"MfgVerdict\" \"";
  const auto last = std::find_if(shell.commands.rbegin(), shell.commands.rend(),
                                 [&](const auto& command) { return command.line.starts_with(kSet); });
  return last == shell.commands.rend() ? u"" : last->line.substr(kSet.size(), last->line.size() - kSet.size() - 1);
}

// One result line for one verdict; a pass goes with no error line.
void CheckVerdict(const simulation::Machine& machine, const std::u16string& verdict) {
  const std::u16string& written = machine.console.written;
  const std::size_t results = Count(u"\r\n" + written, kResult);
  if (testlib::state->run.stage != testlib::Stage::kIdle) Fault("the run was not ended");
  // A store that takes nothing gets no verdict.
  if (EFI_ERROR(machine.variables.write_status)) return;
  if (results != (verdict.empty() ? 0 : 1)) Fault("a verdict without its result line, or the other way round");
  if (testlib::state->history.count != results) Fault("another number of runs is remembered");
  if (verdict == u"PASS" && written.find(u"\r\nERROR ") != written.npos) Fault("a pass in spite of an error");
}

template <class Shell>
void RunAndJudgeOn(Shell& shell, EFI_HANDLE image, ReferenceServer& server, const CommandWords& words) {
  simulation::Machine& machine = server.station.machine;
  machine.console.keys.assign(600, u'\r');
  const std::size_t allocated = machine.memory.Outstanding();
  {
    const Driver library(machine, testlib_efi_main);
    if (!library.IsLoaded()) Fault("the test library did not start");
    const Judge judge(server);
    simulation::ForgetEarlierRun();
    machine.console.written.clear();
    const simulation::ImageEnd end = shell.Run(image, efi_main, simulation::CommandLine(words));
    machine.UnloadImage(image);
    if (end.status != EFI_SUCCESS) Fault("the module ended with an error");
    CheckCommands(shell, server.run.test);
    CheckVerdict(machine, VerdictOn(shell, machine));
    std::erase(machine.writes, "ShellEnvironment Execute");
    judge.CheckWrites();
  }
  // The list of root bridges is the module's for good.
  if (machine.memory.Outstanding() > allocated + 1 + KeptBlocks(server.run.test)) Fault("memory was not given back");
}

CommandWords TakeCommandLine(Input& input, std::uint32_t test) {
  const std::uint8_t way = input.Byte();
  CommandWords words = {u"FS0:\\mfgtest.efi", simulation::Widen(std::to_string(test)), u"-fstation.cfg"};
  if ((way & 1) == 0) words.push_back(u"-ffuzz.cfg");
  if ((way & 2) != 0) words.push_back(u"-d0x1f");
  if ((way & 4) != 0) words.push_back(u"--trace");
  TakeWords(input, words);
  return words;
}

}  // namespace

Bytes ParameterFile(const std::map<std::u16string, std::u16string>& parameters) {
  std::string text;
  for (const auto& [name, value] : parameters) {
    text += simulation::Readable(name) + " = \"" + simulation::Readable(value) + "\"\n";
  }
  return {text.begin(), text.end()};
}

void LeaveStation(ReferenceServer& server) {
  server.station.library.reset();
  server.station.shell.reset();
  if (!server.station.smbios_device)
    server.station.smbios_device.emplace(server.station.machine, server.station.smbios);
}

void RunAndJudgeByLibrary(Input& input, ReferenceServer& server) {
  const CommandWords words = TakeCommandLine(input, server.run.test);
  const Bytes parameters = ParameterFile(server.station.library->parameters);
  LeaveStation(server);
  simulation::ModernShell shell(server.station.machine);
  shell.files = {{u"station.cfg", parameters}, {u"fuzz.cfg", input.Rest()}};
  RunAndJudgeOn(shell, server.station.machine.LoadImage(), server, words);
}

void FuzzParameters(Input input) {
  ReferenceServer server(ChooseRunWithoutFlash(input));
  RunAndJudgeByLibrary(input, server);
}

// An EFI 1.x shell reads no files for a program: they come from its drive.
void FuzzOldShell(Input input) {
  ReferenceServer server(ChooseRunWithoutFlash(input));
  const std::uint8_t way = input.Byte();
  const CommandWords words = TakeCommandLine(input, server.run.test);
  const Bytes parameters = ParameterFile(server.station.library->parameters);
  LeaveStation(server);
  simulation::Machine& machine = server.station.machine;
  simulation::Volume volume(machine);
  volume.files[u"station.cfg"].assign(parameters.begin(), parameters.end());
  const Bytes rest = input.Rest();
  volume.files[u"fuzz.cfg"].assign(rest.begin(), rest.end());
  simulation::OldShell shell(machine);
  shell.command_status = (way & 1) != 0 ? EFI_UNSUPPORTED : EFI_SUCCESS;
  if ((way & 2) != 0) shell.upper_half_of_argc = 0;
  RunAndJudgeOn(shell, machine.LoadImage(volume.handle, u"\\mfgtest.efi"), server, words);
}

}  // namespace fuzz
