// SPDX-License-Identifier: BSD-2-Clause-Patent
// What a line is given: its words, the question that the order asks, and the
// keys that come instead of an answer.
#include "fuzz/driver.h"
#include "fuzz/line_verdict.h"
#include "fuzz/targets.h"
#include "platform/handles.h"
#include "platform/image.h"
#include "platform/protocols/shell_interface.h"
#include "platform/protocols/test_library.h"
#include "simulation/command_line.h"
#include "simulation/fault.h"
#include "simulation/modern_shell.h"
#include "simulation/volume.h"

namespace fuzz {
namespace {

using simulation::Fault;

// Passes where the answer is one that its reader can take.
EFI_STATUS ReadAnswer(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  platform::InitializeImage(image, system_table);
  ShellInterface* shell = nullptr;
  auto* const library = platform::FirstInterface<TestLibrary>(kTestLibraryProtocolGuid);
  if (EFI_ERROR(platform::HandleInterface(image, kShellInterfaceProtocolGuid, &shell))) return EFI_NOT_FOUND;
  TestDescriptor descriptor = {48, 795, 0, image, "3.26.1.0001", shell->Argc, shell->Argv};
  if (library->Initialize(&descriptor) == 0) {
    std::array<char16_t, 32> value{};
    library->GetParamString(u"System_Serial_Number", value.data(), sizeof value);
    if (value[0] == 0) library->ReportError(1, u"no answer");
  }
  library->EndTest();
  return EFI_SUCCESS;
}

void Boot(simulation::Machine& machine, EFI_HANDLE volume, const std::vector<std::u16string>& words) {
  const EFI_HANDLE image = machine.LoadImage(volume, u"\\start.efi");
  simulation::ModernShell shell(machine);
  try {
    shell.Run(image, start_efi_main, simulation::CommandLine(words));
  } catch (const simulation::WaitsForEver&) {  // for an answer
  } catch (const simulation::MachineReset&) {  // as the question says: it may hold a line of the file
  }
}

}  // namespace

void CheckLineVerdict(const simulation::Machine& machine) {
  const std::u16string& written = machine.console.written;
  const simulation::Variable* const verdict = machine.variables.Find(u"MfgLineVerdict", simulation::kShellVariableGuid);
  const std::size_t summary = written.rfind(u"\r\nSUMMARY ");
  if (verdict == nullptr) {
    // A store that takes nothing gets no verdict.
    const bool takes = !EFI_ERROR(machine.variables.write_status);
    if (takes && summary != written.npos) Fault("a summary without a verdict");
    return;
  }
  const std::u16string text(reinterpret_cast<const char16_t*>(verdict->data.data()), verdict->data.size() / 2);
  if (summary == written.npos || !written.ends_with(u": " + text + u"\r\n")) Fault("a verdict without its summary");
  if (text == u"PASS" && written.find(u"\r\nERROR") != written.npos) Fault("a pass in spite of an error");
}

void FuzzLine(Input input) {
  simulation::Machine machine;
  simulation::Volume volume(machine);
  machine.programs = {{u"\\mfgtest.efi", {ReadAnswer}}, {u"\\testlib.efi", {testlib_efi_main, true}}};
  std::vector<std::u16string> words = {u"FS0:\\start.efi"};
  TakeWords(input, words);
  const Bytes question = input.Take(input.Byte() % 64);
  volume.files[u"\\mfgtest.cfg"] =
      "Line_Tests = 1 4\nSystem_Serial_Number = ask" + std::string(question.begin(), question.end()) + "\n";
  for (const std::uint8_t key : input.Rest()) machine.console.keys.push_back(key);
  Boot(machine, volume.handle, words);

  CheckLineVerdict(machine);
}

}  // namespace fuzz
