// SPDX-License-Identifier: BSD-2-Clause-Patent
// The scenarios that are also run on firmware in QEMU: through the recorder,
// and through the real library's --trace on a modern shell.
#include "simulation/scenario.h"

#include "simulation/modern_shell.h"
#include "simulation/station.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS testlib_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

namespace {

using simulation::Scenario;
using Transcript = std::vector<std::string>;

void AddVariables(simulation::Machine& machine, const Scenario& scenario) {
  for (const auto& [name, value] : scenario.variables) machine.variables.Add(name, simulation::TextData(value));
}

Transcript Recorded(const Scenario& scenario) {
  simulation::Station station;
  station.smbios = simulation::QemuSmbiosTable(scenario.smbios);
  station.library->parameters = scenario.parameters;
  AddVariables(station.machine, scenario);
  return station.Run(scenario.test);
}

// Puts the pieces of each trace line together again: "@ " begins one, "@+"
// goes on with it.
Transcript Joined(const std::u16string& console) {
  Transcript lines;
  for (std::size_t at = 0; at < console.size();) {
    const std::size_t end = std::min(console.find(u"\r\n", at), console.size());
    const std::string line = simulation::Readable(console.substr(at, end - at));
    if (line.starts_with("@ ")) lines.push_back(line.substr(2));
    if (line.starts_with("@+") && !lines.empty()) lines.back() += line.substr(2);
    at = end + 2;
  }
  return lines;
}

Transcript Traced(const Scenario& scenario) {
  simulation::Machine machine;
  const simulation::Collation collation(machine, kUnicodeCollation2ProtocolGuid);
  const simulation::SmbiosDevice smbios(machine, simulation::QemuSmbiosTable(scenario.smbios));
  simulation::ModernShell shell(machine);
  AddVariables(machine, scenario);
  EXPECT_EQ(shell.Run(machine.LoadImage(), testlib_efi_main, simulation::CommandLine({u"testlib.efi"})).status,
            EFI_SUCCESS);
  std::vector<std::u16string> words = {u"mfgtest.efi", u"--trace"};
  words.insert(words.end(), scenario.words.begin(), scenario.words.end());
  EXPECT_EQ(shell.Run(machine.LoadImage(), efi_main, simulation::CommandLine(words)).status, EFI_SUCCESS);
  return Joined(machine.console.written);
}

TEST(Scenarios, GiveTheirTranscripts) {
  unsigned count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(TESTS_FOLDER "/scenarios")) {
    if (entry.path().extension() != ".scenario") continue;
    SCOPED_TRACE(entry.path());
    const Scenario scenario = simulation::ReadScenario(entry.path());
    EXPECT_EQ(Recorded(scenario), scenario.transcript);
    EXPECT_EQ(Traced(scenario), scenario.transcript);
    ++count;
  }
  EXPECT_GT(count, 0u);
}

}  // namespace
