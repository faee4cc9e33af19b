// SPDX-License-Identifier: BSD-2-Clause-Patent
// The drivers, from their load to their end, with each of their calls of the
// platform failing in turn.
#include "platform/protocols/bridge_note.h"
#include "platform/protocols/ipmi_transport.h"
#include "simulation/kcs_interface.h"
#include "simulation/modern_shell.h"
#include "simulation/reference_server.h"
#include "tests/faults/injected_runs.h"

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS testlib_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS smbios_entry_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS ipmi_kcs_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

namespace {

using simulation::Injection;
using simulation::Machine;

// What an image has to give back.
struct Holdings {
  explicit Holdings(const Machine& machine)
      : blocks(machine.memory.Outstanding()), handles(machine.handles.Handles(nullptr).size()) {}
  bool operator==(const Holdings&) const = default;

  std::size_t blocks;
  std::size_t handles;
};

// A driver that stays, or one that gave an error and left nothing behind.
EFI_HANDLE Load(Machine& machine, simulation::ImageEntry entry) {
  const Holdings before(machine);
  const EFI_HANDLE image = machine.LoadImage();
  const EFI_STATUS status = machine.StartImage(image, entry).status;
  if (!EFI_ERROR(status)) return image;
  machine.UnloadImage(image);
  EXPECT_EQ(Holdings(machine), before);
  return nullptr;
}

// A driver may be one that cannot go, or give an error and stay.
void Unload(Machine& machine, EFI_HANDLE image, const Holdings& before) {
  constexpr EFI_GUID kLoadedImage = LOADED_IMAGE_PROTOCOL;
  void* loaded = nullptr;
  machine.handles.Interface(image, kLoadedImage, &loaded);
  const auto unload = static_cast<EFI_LOADED_IMAGE*>(loaded)->Unload;
  if (unload == nullptr || EFI_ERROR(unload(image))) return;
  machine.UnloadImage(image);
  EXPECT_EQ(Holdings(machine), before);
}

const simulation::Variable* Verdict(const Machine& machine) {
  return machine.variables.Find(u"MfgVerdict", simulation::kShellVariableGuid);
}

struct Outcome {
  Injection injection{};
  bool passes = false;
};

// The line's commands on a modern shell: the library, a test whose expected
// serial number is in a file and that leaves a record, the library's end. The verdict of an earlier unit
// is still there.
Outcome RunOnLine(const char* serial_number, const Injection& injection) {
  static const simulation::ReferenceRun run{4, "on a line"};
  simulation::ReferenceServer server(run);
  simulation::Station& station = server.station;
  station.shell.reset();
  station.library.reset();
  station.smbios_device.emplace(station.machine, station.smbios);
  Machine& machine = station.machine;
  simulation::ModernShell shell(machine);
  const std::string parameters = std::string("System_Serial_Number = ") + serial_number;
  shell.files[u"unit.cfg"] = {parameters.begin(), parameters.end()};
  machine.variables.Add(u"MfgVerdict", simulation::TextData(u"PASS")).attributes = EFI_VARIABLE_BOOTSERVICE_ACCESS;
  const Holdings before(machine);
  machine.injection = injection;

  if (const EFI_HANDLE driver = Load(machine, testlib_efi_main); driver != nullptr) {
    simulation::ForgetEarlierRun();
    const EFI_HANDLE module = machine.LoadImage();
    shell.Run(module, efi_main,
              simulation::CommandLine({u"FS0:\\mfgtest.efi", u"4", u"-f", u"unit.cfg", u"-r", u"FS0:\\results.jsonl"}));
    machine.UnloadImage(module);
    const simulation::Variable* const verdict = Verdict(machine);
    const bool passes = verdict != nullptr && verdict->data == simulation::TextData(u"PASS");
    Unload(machine, driver, before);
    return {machine.injection, passes};
  }
  return {machine.injection, false};
}

TEST(DriverFaults, TestLibraryGivesNoFalseVerdict) {
  EXPECT_TRUE(RunOnLine("SN-0000001", {}).passes);
  for (const char* const serial_number : {"SN-0000001", "SN-0000002"}) {
    const bool is_right = std::string_view(serial_number) == "SN-0000001";
    const Injection whole = RunOnLine(serial_number, {}).injection;
    Inject(std::string("testlib, ") + serial_number, InjectionsInto(whole), 5, [&](const Injection& injection) {
      const Outcome outcome = RunOnLine(serial_number, injection);
      // Where the shell takes no variable at all, the earlier verdict stays.
      EXPECT_TRUE(is_right || !outcome.passes || injection.for_good) << Told(outcome.injection);
      return outcome.passes ? Told(outcome.injection) : "";
    });
  }
}

// Loads the driver where SMBIOS says that a controller is, asks it once more
// over the transport that the driver offers, and unloads it.
Outcome AskController(const Injection& injection) {
  using Bytes = simulation::KcsInterface::Bytes;
  Bytes device_id{0x1C, 0x01, 0x00, 0x20, 0x01, 0x82, 0x45, 0x51, 0xBF, 0, 0, 0, 0, 0};
  Machine machine;
  simulation::ModernShell shell(machine);
  simulation::SmbiosTable table;
  table.Add(38, 0, {0x01, 0x20, 0x20, 0xFF, 0xA3, 0x0C, 0, 0, 0, 0, 0, 0, 0, 0}).Add(127, 1, {});
  const simulation::SmbiosDevice smbios(machine, table);
  simulation::KcsInterface controller(0xCA2, [&](const Bytes&) { return device_id; });
  const Holdings before(machine);
  machine.injection = injection;

  Outcome outcome;
  if (const EFI_HANDLE driver = Load(machine, ipmi_kcs_efi_main); driver != nullptr) {
    void* offered = nullptr;
    machine.handles.Interface(driver, kIpmiTransportProtocolGuid, &offered);
    auto* const transport = static_cast<IpmiTransport*>(offered);
    std::array<std::uint8_t, 20> data{};
    std::uint8_t code = 0xFF;
    std::uint32_t length = data.size();
    outcome.passes =
        !EFI_ERROR(transport->SendIpmiRequest(transport, 0x06, 0, 0x01, nullptr, 0)) &&
        !EFI_ERROR(transport->ReceiveIpmiResponse(transport, nullptr, nullptr, nullptr, &code, data.data(), &length)) &&
        code == 0 && std::equal(data.begin(), data.begin() + length, device_id.begin() + 3);
    EXPECT_TRUE(outcome.passes) << "a driver that is loaded has to work";
    Unload(machine, driver, before);
  }
  outcome.injection = machine.injection;
  return outcome;
}

TEST(DriverFaults, IpmiKcsWorksOrIsNotLoaded) {
  const Outcome whole = AskController({});
  EXPECT_TRUE(whole.passes);
  Inject("ipmi_kcs", InjectionsInto(whole.injection), 1, [&](const Injection& injection) {
    const Outcome outcome = AskController(injection);
    return outcome.passes ? Told(outcome.injection) : "";
  });
}

// Loads the driver on newer firmware and unloads it.
Outcome BridgeTables(const Injection& injection) {
  static const simulation::ReferenceRun run{35, "on newer firmware"};
  simulation::ReferenceServer server(run, {.smbios = true, .acpi = true});
  simulation::Station& station = server.station;
  Machine& machine = station.machine;
  station.smbios_device.emplace(machine, station.smbios, station.smbios_placement);
  const UINTN tables = machine.system_table.NumberOfTableEntries;
  const Holdings before(machine);
  machine.injection = injection;

  Outcome outcome;
  if (const EFI_HANDLE driver = Load(machine, smbios_entry_efi_main); driver != nullptr) {
    const UINTN offered = machine.system_table.NumberOfTableEntries - tables;
    EXPECT_GT(offered, 0u) << "a driver that is loaded has to bridge something";
    EXPECT_EQ(machine.memory.Pages().size(), offered);
    EXPECT_EQ(machine.handles.Handles(&kBridgeNoteProtocolGuid).size(), offered) << "each on the record";
    outcome.passes = offered == 2;
    Unload(machine, driver, before);
  }
  outcome.injection = machine.injection;
  return outcome;
}

TEST(DriverFaults, SmbiosEntryBridgesOrIsNotLoaded) {
  const Outcome whole = BridgeTables({});
  EXPECT_TRUE(whole.passes);
  Inject("smbios_entry", InjectionsInto(whole.injection), 1, [&](const Injection& injection) {
    const Outcome outcome = BridgeTables(injection);
    return outcome.passes ? Told(outcome.injection) : "";
  });
}

}  // namespace
