// SPDX-License-Identifier: BSD-2-Clause-Patent
// What the operator gives: parameter files and the command line, taken by the
// real test library on a modern shell.
#include "fuzz/targets.h"
#include "fuzz/whole_run.h"
#include "simulation/fault.h"
#include "simulation/modern_shell.h"
#include "simulation/text.h"
#include "testlib/state.h"

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS testlib_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

namespace fuzz {
namespace {

using simulation::Fault;
using Words = std::vector<std::u16string>;

constexpr std::u16string_view kResult = u"\r\nRESULT test ";

Bytes ParameterFile(const std::map<std::u16string, std::u16string>& parameters) {
  std::string text;
  for (const auto& [name, value] : parameters) {
    text += simulation::Readable(name) + " = \"" + simulation::Readable(value) + "\"\n";
  }
  return {text.begin(), text.end()};
}

std::size_t Count(std::u16string_view text, std::u16string_view wanted) {
  std::size_t count = 0;
  for (std::size_t at = text.find(wanted); at != text.npos; at = text.find(wanted, at + 1)) ++count;
  return count;
}

struct LoadedLibrary {
  explicit LoadedLibrary(simulation::Machine& of) : machine(of), image(machine.LoadImage()) {
    if (EFI_ERROR(machine.StartImage(image, testlib_efi_main).status)) Fault("the test library did not start");
  }
  ~LoadedLibrary() {
    constexpr EFI_GUID kLoadedImage = LOADED_IMAGE_PROTOCOL;
    void* loaded = nullptr;
    machine.handles.Interface(image, kLoadedImage, &loaded);
    static_cast<EFI_LOADED_IMAGE*>(loaded)->Unload(image);
    machine.UnloadImage(image);
  }

  simulation::Machine& machine;
  EFI_HANDLE image;
};

// One result line for one verdict; a pass goes with no error line.
void CheckVerdict(simulation::Machine& machine) {
  const std::u16string& written = machine.console.written;
  const simulation::Variable* const variable = machine.variables.Find(u"MfgVerdict", simulation::kShellVariableGuid);
  const std::size_t results = Count(u"\r\n" + written, kResult);
  if (testlib::state->run.stage != testlib::Stage::kIdle) Fault("the run was not ended");
  // A store that takes nothing gets no verdict.
  if (EFI_ERROR(machine.variables.write_status)) return;
  if (results != (variable == nullptr ? 0 : 1)) Fault("a verdict without its result line, or the other way round");
  if (testlib::state->history.count != results) Fault("another number of runs is remembered");
  if (variable == nullptr || variable->data != simulation::TextData(u"PASS")) return;
  if (written.find(u"\r\nERROR ") != written.npos) Fault("a pass in spite of an error");
}

}  // namespace

void RunAndJudgeByLibrary(Input& input, ReferenceServer& server) {
  simulation::Machine& machine = server.station.machine;
  const std::uint8_t way = input.Byte();
  Words words = {u"FS0:\\mfgtest.efi", simulation::Widen(std::to_string(server.run.test)), u"-fstation.cfg"};
  if ((way & 1) == 0) words.push_back(u"-ffuzz.cfg");
  if ((way & 2) != 0) words.push_back(u"-d0x1f");
  if ((way & 4) != 0) words.push_back(u"--trace");
  TakeWords(input, words);

  const Bytes parameters = ParameterFile(server.station.library->parameters);
  server.station.library.reset();
  server.station.shell.reset();
  if (!server.station.smbios_device) server.station.smbios_device.emplace(machine, server.station.smbios);
  machine.console.keys.assign(600, u'\r');
  simulation::ModernShell shell(machine);
  shell.files = {{u"station.cfg", parameters}, {u"fuzz.cfg", input.Rest()}};
  const std::size_t allocated = machine.memory.Outstanding();
  {
    const LoadedLibrary library(machine);
    const Judge judge(server);
    simulation::ForgetEarlierRun();
    machine.console.written.clear();
    const EFI_HANDLE image = machine.LoadImage();
    const simulation::ImageEnd end = shell.Run(image, efi_main, simulation::CommandLine(words));
    machine.UnloadImage(image);
    if (end.status != EFI_SUCCESS) Fault("the module ended with an error");
    CheckVerdict(machine);
    judge.CheckWrites();
  }
  // The list of root bridges is the module's for good.
  if (machine.memory.Outstanding() > allocated + 1 + KeptBlocks(server.run.test)) Fault("memory was not given back");
}

void FuzzParameters(Input input) {
  ReferenceServer server(ChooseRunWithoutFlash(input));
  RunAndJudgeByLibrary(input, server);
}

}  // namespace fuzz
