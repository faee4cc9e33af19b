// SPDX-License-Identifier: BSD-2-Clause-Patent
// A line of start.efi from the drive's boot to its last screen, with the module,
// the test library and the drivers, on machines that are not as they should be.
#include "fuzz/changes.h"
#include "fuzz/driver.h"
#include "fuzz/line_verdict.h"
#include "fuzz/parameters.h"
#include "fuzz/targets.h"
#include "simulation/modern_shell.h"
#include "simulation/text.h"
#include "simulation/volume.h"

namespace fuzz {
namespace {

using CommandWords = std::vector<std::u16string>;

constexpr EFI_GUID kGlobalGuid = EFI_GLOBAL_VARIABLE;
constexpr EFI_GUID kVariableVendors[] = {simulation::kShellVariableGuid, kGlobalGuid};
constexpr const char16_t* kVariableNames[] = {u"Lang",       u"PlatformLang",   u"SecureBoot",
                                              u"SetupMode",  u"Timeout",        u"BootOrder",
                                              u"MfgVerdict", u"IpmiKcsOptions", u"MfgLineVerdict"};
constexpr EFI_STATUS kLoadAnswers[] = {EFI_SUCCESS, EFI_NOT_FOUND, EFI_SECURITY_VIOLATION, EFI_DEVICE_ERROR};

EFI_STATUS StartModule(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  simulation::ForgetEarlierRun();
  return efi_main(image, system_table);
}

// What lies in the store when the machine boots, in front of what was there.
void AddBootVariable(Input& input, simulation::VariableStore& store) {
  const std::uint8_t name = input.Byte();
  const std::uint8_t vendor = input.Byte();
  const std::size_t size = input.Byte();
  simulation::Variable variable{.name = kVariableNames[name % std::size(kVariableNames)],
                                .vendor = kVariableVendors[vendor % std::size(kVariableVendors)],
                                .attributes = vendor,
                                .data = input.Take(size)};
  if (name >= 0x80) variable.name.append(std::size_t{name & 0x7Fu} * 8, static_cast<char16_t>(input.Word() | 1));
  if (vendor >= 0x80) variable.vendor.Data1 ^= input.Byte();
  if (vendor >= 0xC0) variable.data.resize(size * 256, name);
  store.variables.insert(store.variables.begin(), variable);
}

// Up to three of the tests that write nothing, each within its seconds.
std::string LineTests(Input& input) {
  static constexpr std::uint32_t kLineTests[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 20, 21, 23,
                                                 24, 25, 26, 27, 29, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43};
  std::string list;
  for (std::size_t count = 1 + input.Below(3); count > 0; --count) {
    list += " " + std::to_string(ChooseTest(input, kLineTests));
  }
  return "Line_Tests =" + list + "\nAfter_Line = exit\n";
}

// The drive, with images that may be missing or refused.
void FillVolume(Input& input, simulation::Machine& machine, simulation::Volume& volume, const Bytes& parameters) {
  machine.programs = {{u"\\mfgtest.efi", {StartModule}},
                      {u"\\testlib.efi", {testlib_efi_main, true}},
                      {u"\\ipmi_kcs.efi", {ipmi_kcs_efi_main, true}},
                      {u"\\smbios_entry.efi", {smbios_entry_efi_main, true}}};
  const std::uint8_t loads = input.Byte();
  std::size_t shift = 0;
  for (auto& [path, program] : machine.programs) {
    program.load_status = kLoadAnswers[loads >> shift & 3];
    shift += 2;
  }
  std::string& file = volume.files[u"\\mfgtest.cfg"];
  file = LineTests(input);
  file.append(parameters.begin(), parameters.end());
  const Bytes running = input.Take(input.Byte());
  if (!running.empty()) volume.files[u"\\running.txt"].assign(running.begin(), running.end());
  if (const std::uint8_t room = input.Byte(); room != 0) volume.behaviour.room = std::size_t{room} * 16;
}

// The older server has an XSDT's address that leads nowhere, to catch whoever follows
// it: smbios_entry.efi is not for that one.
void RunLine(Input& input, HostileServer& server, bool has_shell, bool has_bridge) {
  simulation::Machine& machine = server.station.machine;
  const Bytes parameters = ParameterFile(server.station.library->parameters);
  LeaveStation(server);
  simulation::Volume volume(machine);
  FillVolume(input, machine, volume, parameters);
  if (!has_bridge) machine.programs.erase(u"\\smbios_entry.efi");
  CommandWords words = {u"FS0:\\start.efi"};
  TakeWords(input, words);
  std::erase_if(words, [](const std::u16string& word) { return word.find(u"write") != word.npos; });
  const Bytes rest = input.Rest();
  volume.files[u"\\fuzz.cfg"].assign(rest.begin(), rest.end());
  if (has_shell && !rest.empty()) words.insert(words.end(), {u"-f", u"fuzz.cfg"});
  machine.console.keys.assign(600, u'\r');

  const Judge judge(server);
  const EFI_HANDLE image = machine.LoadImage(volume.handle, u"\\start.efi");
  try {
    if (has_shell) {
      simulation::ModernShell shell(machine);
      shell.files[u"fuzz.cfg"] = rest;
      shell.Run(image, start_efi_main, simulation::CommandLine(words));
      if (!shell.commands.empty()) simulation::Fault("a command reached the shell");
    } else {
      machine.StartImage(image, start_efi_main);
    }
  } catch (const simulation::WaitsForEver&) {  // for an answer, or with its last screen
  } catch (const simulation::MachineReset&) {  // as the order says
  }
  volume.open_files = 0;
  CheckLineVerdict(machine);
  // For the variables of a shell, which are compared, and by smbios_entry.efi.
  std::erase_if(machine.writes, [](const std::string& write) {
    return write == "SetVariable" || write == "InstallConfigurationTable";
  });
  judge.CheckWrites();
}

// The judge knows it as the test that sets a shell variable.
const ReferenceRun& LineRun() {
  static const ReferenceRun run{.test = 29, .name = "a line", .has_guid_store = true};
  return run;
}

}  // namespace

void FuzzStart(Input input) {
  const std::uint8_t way = input.Byte();
  const bool newer = (way & 1) != 0;
  HostileServer server(LineRun(), {.smbios = newer, .acpi = newer, .ipmi = (way & 4) != 0});
  if ((way & 16) == 0) ChangeDevices(input, server);
  RunLine(input, server, (way & 8) == 0, newer);
}

void FuzzBootVariables(Input input) {
  HostileServer server(LineRun());
  const std::uint8_t way = input.Byte();
  for (std::uint8_t count = input.Byte() % 8; count > 0; --count) {
    AddBootVariable(input, server.station.machine.variables);
  }
  RunLine(input, server, (way & 8) == 0, false);
}

}  // namespace fuzz
