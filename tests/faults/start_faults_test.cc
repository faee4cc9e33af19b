// SPDX-License-Identifier: BSD-2-Clause-Patent
// A line from the drive's boot to its verdict, with each of its calls of the
// platform failing in turn, and with the power gone at each of them.
#include <sstream>

#include "mfgline/record.h"
#include "simulation/reference_server.h"
#include "simulation/volume.h"
#include "tests/faults/injected_runs.h"

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS testlib_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS start_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

namespace {

using simulation::Injection;
using simulation::Machine;

unsigned tests_begun;
unsigned tests_ended;

EFI_STATUS StartModule(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  simulation::ForgetEarlierRun();
  ++tests_begun;
  const EFI_STATUS status = efi_main(image, system_table);
  ++tests_ended;
  return status;
}

struct Outcome {
  Injection injection{};
  bool shows_pass = false;
  bool leaves_pass = false;
  std::string record{};
  bool tells_of_running_test = false;
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
  tests_begun = tests_ended = 0;
  const EFI_HANDLE image = machine.LoadImage(volume.handle, u"\\EFI\\BOOT\\BOOTX64.EFI");
  try {
    machine.StartImage(image, start_efi_main);
  } catch (const simulation::PowerCut&) {
  } catch (const simulation::WaitsForEver&) {  // the screen stays, or somebody has to answer
  } catch (const std::runtime_error&) {        // keys that cannot be read are waited for, too
    EXPECT_TRUE(injection.for_good);
  }
  volume.open_files = 0;
  Outcome outcome{.injection = machine.injection,
                  .shows_pass = machine.console.written.ends_with(u": PASS\r\n"),
                  .tells_of_running_test = volume.files.contains(u"\\running.txt")};
  const simulation::Variable* const verdict = machine.variables.Find(u"MfgLineVerdict", simulation::kShellVariableGuid);
  outcome.leaves_pass = verdict != nullptr && verdict->data == simulation::TextData(u"PASS");
  for (const auto& [path, content] : volume.files) {
    if (path.starts_with(u"\\results\\")) outcome.record = content;
  }
  return outcome;
}

// As the line's server reads it.
std::string VerdictOf(const std::string& record) {
  std::string verdict;
  const auto take = [&](mfgline::Record&& read) { verdict = read.verdict; };
  std::istringstream lines(record);
  mfgline::Reader(true, take, [](std::size_t, const std::string&) {}).Read(lines);
  return verdict;
}

TEST(StartFaults, ALineGivesNoFalseVerdict) {
  EXPECT_TRUE(RunLine(u"SN-0000001", {}).leaves_pass);
  for (const std::u16string_view serial_number : {u"SN-0000001", u"SN-0000002"}) {
    const bool is_right = serial_number.back() == u'1';
    const Injection whole = RunLine(serial_number, {}).injection;
    Inject(is_right ? "start, the unit" : "start, another unit", InjectionsInto(whole), 31,
           [&](const Injection& injection) {
             const Outcome outcome = RunLine(serial_number, injection);
             const std::string told = Told(outcome.injection);
             EXPECT_TRUE(is_right || !outcome.shows_pass) << told;
             EXPECT_TRUE(is_right || VerdictOf(outcome.record) != "PASS") << told;
             // Where firmware takes no variable at all, the earlier verdict stays.
             EXPECT_TRUE(is_right || !outcome.leaves_pass || told.find("Variable") != std::string::npos) << told;
             return outcome.shows_pass ? told : "";
           });
  }
}

std::size_t FinishedSteps(const std::string& record) {
  std::size_t count = 0;
  std::istringstream lines(record);
  for (std::string line; std::getline(lines, line);) count += !lines.eof() && line.find("testStepEnd") != line.npos;
  return count;
}

// Nothing that was finished is lost, and nothing passes that was not.
TEST(StartFaults, TheRecordIsRightWhereThePowerGoes) {
  const Outcome whole = RunLine(u"SN-0000001", {});
  EXPECT_EQ(VerdictOf(whole.record), "PASS");
  Inject("start, the power goes", CutsInto(whole.injection), 1, [&](const Injection& injection) {
    const Outcome outcome = RunLine(u"SN-0000001", injection);
    EXPECT_TRUE(whole.record.starts_with(outcome.record));
    EXPECT_GE(FinishedSteps(outcome.record), tests_ended);
    if (outcome.record == whole.record) return "";
    EXPECT_NE(VerdictOf(outcome.record), "PASS");
    EXPECT_FALSE(outcome.shows_pass);
    EXPECT_TRUE(outcome.tells_of_running_test || tests_begun == 0) << "a test would start again by itself";
    return "";
  });
  // Within a write, the drive's own blocks may end anywhere.
  for (std::size_t size = whole.record.rfind('\n', whole.record.size() - 2); size + 1 < whole.record.size(); ++size) {
    EXPECT_EQ(VerdictOf(whole.record.substr(0, size)), "ERROR") << size;
  }
}

}  // namespace
