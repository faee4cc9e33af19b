// SPDX-License-Identifier: BSD-2-Clause-Patent
// What goes into a record: text from SMBIOS, FRUs, variables, parameters and
// reports, whatever characters it has. Each line has to be JSON in valid UTF-8.
#include <nlohmann/json.hpp>

#include "fuzz/driver.h"
#include "fuzz/targets.h"
#include "fuzz/whole_run.h"
#include "platform/handles.h"
#include "platform/image.h"
#include "platform/protocols/line_run.h"
#include "platform/protocols/test_library.h"
#include "simulation/fault.h"
#include "simulation/volume.h"
#include "testlib/record/comparisons.h"

namespace fuzz {
namespace {

using simulation::Fault;

// Any characters but the terminator, up to the one that stands for it.
std::u16string TakeText(Input& input) {
  std::u16string text;
  while (!input.Empty()) {
    const std::uint16_t c = input.Word();
    if (c == 0) break;
    text += static_cast<char16_t>(c);
  }
  return text;
}

// The given names in the place of a parameter file's, so that values are compared.
std::string TakeParameters(Input& input) {
  constexpr const char* kParameters[] = {
      "System_Serial_Number",   "System_Manufacturer",    "Chassis_Type", "Memory0_Speed",
      "Memory_Speed_Tolerance", "SYS_BOARDS_PART_NUMBER", "Station",      "X_"};
  std::string file;
  for (std::uint8_t count = input.Byte() % 9; count > 0; --count) {
    const Bytes value = input.Take(input.Byte());
    file += std::string(kParameters[count - 1]) + " = \"" + std::string(value.begin(), value.end()) + "\"\n";
  }
  return file;
}

void Report(TestLibrary& library, std::uint32_t test, Input& input) {
  constexpr const char16_t* kKeys[] = {u"System_Serial_Number", u"System_Manufacturer", u"Chassis_Type",
                                       u"Memory0_Speed", u"SYS_BOARDS_PART_NUMBER"};
  const std::uint8_t way = input.Byte();
  const std::u16string one = TakeText(input);
  const std::u16string other = TakeText(input);
  library.SetResultString(way < 5 ? kKeys[way] : one.c_str(), other.c_str());
  library.SetResultNumber(kKeys[way % 5], input.Word());
  library.DebugPrint(1, u"%s", one.c_str());
  for (const testlib::Comparison& row : testlib::Comparisons()) {
    if (!row.tests.Has(test) || row.form != testlib::ValueForm::kText) continue;
    const std::u16string format(row.format, row.format + std::string_view(row.format).size());
    library.ReportError(way, format.c_str(), one.c_str(), other.c_str(), one.c_str());
  }
}

void CheckRecord(const simulation::Volume& volume) {
  for (const auto& [path, content] : volume.files) {
    if (!path.starts_with(u"\\results\\")) continue;
    for (std::size_t at = 0; at < content.size();) {
      const std::size_t end = content.find('\n', at);
      if (end == std::string::npos) Fault("a line without its end");
      if (!nlohmann::json::accept(content.substr(at, end - at))) Fault("no JSON, or no UTF-8");
      at = end + 1;
    }
  }
}

void RunLine(simulation::Machine& machine, const simulation::Volume& volume, Input& input) {
  auto* const line = platform::FirstInterface<LineRun>(kLineRunProtocolGuid);
  auto* const library = platform::FirstInterface<TestLibrary>(kTestLibraryProtocolGuid);
  const EFI_HANDLE module = machine.LoadImage(volume.handle, u"\\mfgtest.efi");
  const std::u16string word = u"X_WORD=" + TakeText(input);
  const char16_t* const words[] = {u"start.efi", word.c_str(), u"-d1"};
  bool goes_on = !EFI_ERROR(line->Begin(module, words, std::size(words)));
  while (const LineTest* const test = goes_on ? line->Next() : nullptr) {
    TestDescriptor descriptor = {48, 795, 0, module, "3", test->Argc, test->Argv};
    if (library->Initialize(&descriptor) == 0) Report(*library, descriptor.SelectedTest, input);
    library->EndTest();
    line->Ended(EFI_SUCCESS);
    goes_on = !input.Empty();
  }
  line->End();
  machine.UnloadImage(module);
}

}  // namespace

void FuzzRecord(Input input) {
  simulation::Machine machine;
  simulation::Volume volume(machine);
  simulation::SmbiosTable table;
  const Bytes serial_number = input.Take(input.Byte());
  const std::string text(serial_number.begin(), std::ranges::find(serial_number, 0));
  table.Add(1, 0x100, {1, 1, 1, 1}, {text.empty() ? "x" : text});
  const simulation::SmbiosDevice smbios(machine, table);
  machine.variables.Add(u"SERIAL", input.Take(input.Byte()));
  volume.files[u"\\mfgtest.cfg"] = TakeParameters(input);
  const Driver driver(machine, machine.LoadImage(volume.handle, u"\\testlib.efi"), testlib_efi_main);
  if (!driver.IsLoaded()) Fault("the test library did not start");
  RunLine(machine, volume, input);
  CheckRecord(volume);
}

}  // namespace fuzz
