// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "replay/run.h"

#include <stdexcept>

#include "replay/text.h"
#include "simulation/station.h"
#include "simulation/volume.h"

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS smbios_entry_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS start_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS testlib_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

namespace replay {
namespace {

using simulation::CommandLine;

constexpr EFI_GUID kLoadedImage = LOADED_IMAGE_PROTOCOL;

// A program measures its clock against such a wait.
constexpr std::uint64_t kCalibration = 10'000;

// The module, as the line starts it: with its globals as the linker laid them out.
EFI_STATUS Module(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  simulation::ForgetEarlierRun();
  return efi_main(image, system_table);
}

// A driver that is not needed here.
EFI_STATUS NotNeeded(EFI_HANDLE, EFI_SYSTEM_TABLE*) { return EFI_NOT_FOUND; }

std::vector<std::u16string> Arguments(const char16_t* program, const std::vector<std::string>& words) {
  std::vector<std::u16string> arguments = {program};
  for (const std::string& word : words) arguments.push_back(FromUtf8(word));
  return arguments;
}

void Unload(simulation::Machine& machine, EFI_HANDLE driver) {
  void* loaded = nullptr;
  machine.handles.Interface(driver, kLoadedImage, &loaded);
  static_cast<EFI_LOADED_IMAGE*>(loaded)->Unload(driver);
  machine.UnloadImage(driver);
}

// Offers the older tables, as the line does before its first test; null when the
// driver finds nothing to offer.
EFI_HANDLE LoadEntries(simulation::Machine& machine) {
  const EFI_HANDLE driver = machine.LoadImage();
  if (!EFI_ERROR(machine.StartImage(driver, smbios_entry_efi_main).status)) return driver;
  machine.UnloadImage(driver);
  return nullptr;
}

// A list of this machine's is not the machine.
void ForgetLists(simulation::Machine& machine) { std::erase(machine.writes, "InstallConfigurationTable"); }

// By the shell variable that was left.
Verdict VerdictIn(const simulation::Machine& machine, std::u16string_view name) {
  const simulation::Variable* const variable = machine.variables.Find(name, simulation::kShellVariableGuid);
  for (const Verdict verdict : {Verdict::kPass, Verdict::kFail, Verdict::kError, Verdict::kSkip}) {
    if (variable != nullptr && variable->data == simulation::TextData(testlib::VerdictText(verdict))) return verdict;
  }
  return Verdict::kNone;
}

}  // namespace

Session::Session(ReplayedMachine& machine, bool waits_for_real) : machine_(machine) {
  machine.machine.longest_real_stall = waits_for_real ? ~std::uint64_t{0} : kCalibration;
  library_ = machine.machine.LoadImage();
  if (EFI_ERROR(machine.machine.StartImage(library_, testlib_efi_main).status)) {
    throw std::runtime_error("the test library does not start on this machine");
  }
  machine.machine.stalled_microseconds = 0;
}

Session::~Session() { Unload(machine_.machine, library_); }

Verdict Session::Run(const std::vector<std::string>& words) {
  const EFI_HANDLE entries = machine_.has_newer_tables_only ? LoadEntries(machine_.machine) : nullptr;
  const EFI_HANDLE image = machine_.machine.LoadImage();
  machine_.shell.Run(image, Module, CommandLine(Arguments(u"mfgtest.efi", words)));
  machine_.machine.UnloadImage(image);
  if (entries != nullptr) Unload(machine_.machine, entries);
  ForgetLists(machine_.machine);
  return VerdictIn(machine_.machine, u"MfgVerdict");
}

Verdict Session::RunLine(std::vector<std::string> words) {
  simulation::Machine& machine = machine_.machine;
  simulation::Volume stick(machine);
  machine.programs = {{u"\\mfgtest.efi", {Module}},
                      {u"\\ipmi_kcs.efi", {NotNeeded, true}},
                      {u"\\smbios_entry.efi", {smbios_entry_efi_main, true}}};
  // Nobody is at this machine.
  words.push_back("After_Line=exit");
  const EFI_HANDLE image = machine.LoadImage(stick.handle, u"\\start.efi");
  machine_.shell.Run(image, start_efi_main, CommandLine(Arguments(u"start.efi", words)));
  machine.UnloadImage(image);
  ForgetLists(machine);
  return VerdictIn(machine, u"MfgLineVerdict");
}

}  // namespace replay
