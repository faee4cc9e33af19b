// SPDX-License-Identifier: BSD-2-Clause-Patent
// Our drivers and the module, loaded, run and unloaded in any order. What a
// driver brought is gone with it, and none takes along what is another's.
#include "fuzz/driver.h"
#include "fuzz/kcs.h"
#include "fuzz/parameters.h"
#include "fuzz/targets.h"
#include "platform/protocols/line_run.h"
#include "platform/protocols/shell_environment.h"
#include "platform/protocols/test_library.h"
#include "simulation/modern_shell.h"

namespace fuzz {
namespace {

using simulation::Fault;
using simulation::Machine;

constexpr simulation::ImageEntry kDrivers[] = {testlib_efi_main, ipmi_kcs_efi_main, smbios_entry_efi_main};
// Those that find out by themselves that they are there already. A copy has its
// own globals on firmware, and here the same ones.
constexpr std::size_t kRefusesASecondLoad = 2;
constexpr EFI_GUID kOffered[] = {kTestLibraryProtocolGuid, kLineRunProtocolGuid, kShellEnvironmentProtocolGuid,
                                 kIpmiTransportProtocolGuid};

struct Holdings {
  explicit Holdings(Machine& machine)
      : blocks(machine.memory.Outstanding()), tables(machine.system_table.NumberOfTableEntries) {
    for (std::size_t i = 0; i < std::size(kOffered); ++i) offered[i] = machine.handles.Handles(&kOffered[i]).size();
  }
  std::size_t blocks;
  UINTN tables;
  std::array<std::size_t, std::size(kOffered)> offered{};
};

void RunModule(Machine& machine, simulation::ModernShell& shell, std::uint8_t test) {
  const simulation::CommandLine words(
      {u"FS0:\\mfgtest.efi", std::u16string(1, static_cast<char16_t>(u'0' + test % 10))});
  const EFI_HANDLE image = machine.LoadImage();
  simulation::ForgetEarlierRun();
  shell.Run(image, efi_main, words);
  machine.UnloadImage(image);
}

}  // namespace

// Each byte is a step: whose, and in its upper half what.
void FuzzLoadOrder(Input input) {
  static const ReferenceRun run{.test = 1, .name = "load order", .has_guid_store = true};
  const std::uint8_t way = input.Byte();
  ReferenceServer server(run, {.smbios = (way & 1) != 0, .acpi = (way & 2) != 0, .ipmi = (way & 4) != 0});
  LeaveStation(server);
  Machine& machine = server.station.machine;
  if (server.ipmi) RemoveTransport(server);
  const simulation::KcsInterface ports(0xCA2, Serving(server.controller));
  simulation::ModernShell shell(machine);
  const Holdings before(machine);
  std::array<std::unique_ptr<Driver>, std::size(kDrivers)> drivers;
  std::size_t runs = 0;
  for (int steps = 0; !input.Empty() && steps < 64; ++steps) {
    const std::uint8_t step = input.Byte();
    const std::size_t which = step % std::size(kDrivers);
    if (step >= 0xC0) {
      RunModule(machine, shell, step);
      ++runs;
    } else if (step >= 0x80) {
      drivers[which].reset();
    } else if (!drivers[which] || !drivers[which]->IsLoaded()) {
      drivers[which] = std::make_unique<Driver>(machine, kDrivers[which]);
    } else if (which < kRefusesASecondLoad && Driver(machine, kDrivers[which]).IsLoaded()) {
      Fault("a driver was loaded twice");
    }
  }
  for (auto& driver : drivers) driver.reset();
  const Holdings after(machine);
  // The list of root bridges and a GUID's buffer are the module's for good.
  if (after.blocks > before.blocks + 2 * runs || after.tables != before.tables)
    Fault("a driver left memory or a table");
  if (after.offered != before.offered) Fault("a driver left a protocol");
}

}  // namespace fuzz
