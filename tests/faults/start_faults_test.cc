// SPDX-License-Identifier: BSD-2-Clause-Patent
// A line from the drive's boot to its verdict, with each of its calls of the
// platform failing in turn.
#include "simulation/reference_server.h"
#include "simulation/volume.h"
#include "tests/faults/injected_runs.h"

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS testlib_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS start_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

namespace {

using simulation::Injection;
using simulation::Machine;

EFI_STATUS StartModule(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  simulation::ForgetEarlierRun();
  return efi_main(image, system_table);
}

struct Outcome {
  Injection injection{};
  bool shows_pass = false;
  bool leaves_pass = false;
};

// The unit's serial number is asked for; the verdict of the unit before is there.
Outcome RunLine(std::u16string_view serial_number, const Injection& injection) {
  static const simulation::ReferenceRun run{4, "on a line"};
  simulation::ReferenceServer server(run);
  simulation::Station& station = server.station;
  station.shell.reset();
  station.library.reset();
  station.smbios_device.emplace(station.machine, station.smbios);
  Machine& machine = station.machine;
  simulation::Volume volume(machine);
  machine.programs = {{u"\\mfgtest.efi", {StartModule}}, {u"\\testlib.efi", {testlib_efi_main, true}}};
  volume.files[u"\\mfgtest.cfg"] = "Line_Tests = 26 4\nSystem_Serial_Number = ask\nAfter_Line = exit";
  machine.console.keys.assign(serial_number.begin(), serial_number.end());
  machine.console.keys.push_back(u'\r');
  machine.variables.Add(u"MfgLineVerdict", simulation::TextData(u"PASS"));
  machine.injection = injection;
  const EFI_HANDLE image = machine.LoadImage(volume.handle, u"\\EFI\\BOOT\\BOOTX64.EFI");
  try {
    machine.StartImage(image, start_efi_main);
  } catch (const simulation::WaitsForEver&) {  // the screen stays, or somebody has to answer
  } catch (const std::runtime_error&) {        // keys that cannot be read are waited for, too
    EXPECT_TRUE(injection.for_good);
  }
  volume.open_files = 0;
  const simulation::Variable* const verdict = machine.variables.Find(u"MfgLineVerdict", simulation::kShellVariableGuid);
  return {.injection = machine.injection,
          .shows_pass = machine.console.written.ends_with(u": PASS\r\n"),
          .leaves_pass = verdict != nullptr && verdict->data == simulation::TextData(u"PASS")};
}

TEST(StartFaults, ALineGivesNoFalseVerdict) {
  EXPECT_TRUE(RunLine(u"SN-0000001", {}).leaves_pass);
  for (const std::u16string_view serial_number : {u"SN-0000001", u"SN-0000002"}) {
    const bool is_right = serial_number.back() == u'1';
    const std::uint64_t calls = RunLine(serial_number, {}).injection.calls;
    InjectIntoEachCall(is_right ? "start, the unit" : "start, another unit", calls, 7, [&](const Injection& injection) {
      const Outcome outcome = RunLine(serial_number, injection);
      EXPECT_TRUE(is_right || !outcome.shows_pass) << outcome.injection.failed;
      // Where firmware takes no variable at all, the earlier verdict stays.
      EXPECT_TRUE(is_right || !outcome.leaves_pass || outcome.injection.failed.find("Variable") != std::string::npos)
          << outcome.injection.failed;
      return outcome.shows_pass ? outcome.injection.failed : "";
    });
  }
}

}  // namespace
