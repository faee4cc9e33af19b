// SPDX-License-Identifier: BSD-2-Clause-Patent
// Runs the module on the reference server for an instruction counter, which
// counts what happens inside of Measured and gives one part a call. A line of
// output names each part, in the order of the calls:
//   figure <tab> subject <tab> way <tab> size <tab> mandated waits in milliseconds
//
//   bench tests              every test, with the recorder and with testlib.efi
//   bench identity FOLDER    the same for the SMBIOS table of the identity tests,
//                            which is left in FOLDER as entry.bin and table.bin
//   bench growth             tests on servers that have more and more of something
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <stdexcept>

#include "simulation/modern_shell.h"
#include "simulation/reference_server.h"
#include "simulation/text.h"

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS testlib_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

// The counter knows it by name.
extern "C" [[gnu::noinline]] void Measured(const std::function<void()>& work) {
  work();
  asm volatile("");
}

namespace {

using simulation::Call;
using simulation::Operation;
using simulation::ReferenceRun;
using simulation::ReferenceServer;

void Name(const char* figure, const std::string& subject, const char* way, unsigned size, std::uint64_t waits) {
  std::printf("%s\t%s\t%s\t%u\t%llu\n", figure, subject.c_str(), way, size, static_cast<unsigned long long>(waits));
}

// The module alone: its calls end in the recorder. Gives its waits.
std::uint64_t RunModule(ReferenceServer& server) {
  Measured([&] { server.Run(); });
  std::uint64_t waits = server.station.machine.stalled_microseconds / 1000;
  for (const Call& call : server.station.library->calls) {
    if (call.operation == Operation::kReportError) throw std::runtime_error(simulation::Readable(call.text));
    if (call.operation == Operation::kDelay) waits += call.number;
  }
  return waits;
}

std::string ParameterFile(const std::map<std::u16string, std::u16string>& parameters) {
  std::string text;
  for (const auto& [name, value] : parameters) {
    text += simulation::Readable(name) + " = \"" + simulation::Readable(value) + "\"\n";
  }
  return text;
}

struct LoadedLibrary {
  explicit LoadedLibrary(simulation::Machine& on) : machine(on), image(on.LoadImage()) {
    machine.StartImage(image, testlib_efi_main);
  }
  ~LoadedLibrary() {
    static constexpr EFI_GUID kLoadedImage = LOADED_IMAGE_PROTOCOL;
    void* loaded = nullptr;
    machine.handles.Interface(image, kLoadedImage, &loaded);
    static_cast<EFI_LOADED_IMAGE*>(loaded)->Unload(image);
    machine.UnloadImage(image);
  }
  simulation::Machine& machine;
  EFI_HANDLE image;
};

// The module with testlib.efi on a shell, its parameters in a file.
void RunWithLibrary(ReferenceServer& server) {
  server.station.Bind();
  std::vector<std::u16string> words = {u"mfgtest.efi", simulation::Widen(std::to_string(server.run.test)), u"--file",
                                       u"all.cfg"};
  for (const auto& answer : server.station.library->answers) words.insert(words.end(), {u"--answer", answer});
  const std::string file = ParameterFile(server.station.library->parameters);
  server.station.library.reset();
  server.station.shell.reset();

  simulation::Machine& machine = server.station.machine;
  simulation::ModernShell shell(machine);
  shell.files[u"all.cfg"] = {file.begin(), file.end()};
  const LoadedLibrary library(machine);
  const simulation::CommandLine command_line(words);
  const EFI_HANDLE image = machine.LoadImage();
  Measured([&] { shell.Run(image, efi_main, command_line); });
  machine.UnloadImage(image);
  const std::string said = simulation::Readable(machine.console.written);
  if (said.find(": PASS, 0 errors") == said.npos) throw std::runtime_error(said);
}

using Grow = std::function<void(ReferenceServer& server)>;

std::uint64_t MeasureModule(
    const char* figure, const std::string& subject, const ReferenceRun& run, unsigned size = 0,
    const Grow& grow = [](ReferenceServer&) {}) {
  ReferenceServer server(run);
  grow(server);
  const std::uint64_t waits = RunModule(server);
  Name(figure, subject, "module", size, waits);
  return waits;
}

void MeasureBoth(const char* figure, const ReferenceRun& run) {
  const std::string subject = std::to_string(run.test) + " " + run.name;
  const std::uint64_t waits = MeasureModule(figure, subject, run);
  ReferenceServer server(run);
  RunWithLibrary(server);
  Name(figure, subject, "library", 0, waits);
}

void MeasureTests() {
  for (const ReferenceRun& run : simulation::ReferenceRuns()) MeasureBoth("tests", run);
}

const ReferenceRun& FirstRun(std::uint32_t test) {
  for (const ReferenceRun& run : simulation::ReferenceRuns()) {
    if (run.test == test) return run;
  }
  throw std::runtime_error("no such test");
}

void WriteTable(const std::string& folder) {
  ReferenceServer server(FirstRun(1));
  server.station.Bind();
  const auto& table = server.station.smbios.bytes;
  const auto write = [](const std::string& path, const void* bytes, std::size_t size) {
    std::ofstream(path, std::ios::binary).write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
  };
  static constexpr EFI_GUID kSmbios = SMBIOS_TABLE_GUID;
  const EFI_SYSTEM_TABLE& system = server.station.machine.system_table;
  for (UINTN i = 0; i < system.NumberOfTableEntries; ++i) {
    const EFI_CONFIGURATION_TABLE& listed = system.ConfigurationTable[i];
    if (std::memcmp(&listed.VendorGuid, &kSmbios, sizeof kSmbios) == 0) {
      write(folder + "/entry.bin", listed.VendorTable, 0x1F);
    }
  }
  write(folder + "/table.bin", table.data(), table.size());
}

void MeasureIdentity(const std::string& folder) {
  WriteTable(folder);
  for (std::uint32_t test = 1; test <= 13; ++test) MeasureBoth("identity", FirstRun(test));
}

// Structures in front of all others, so that every walk passes them.
void FillTable(ReferenceServer& server, unsigned total) {
  simulation::SmbiosTable& table = server.station.smbios;
  simulation::SmbiosTable filler;
  for (std::uint16_t handle = 0x900; filler.count + table.count < total; ++handle) {
    filler.Add(9, handle, std::vector<std::uint8_t>(13, 1), {"PCIe Slot 1"});
  }
  filler.bytes.insert(filler.bytes.end(), table.bytes.begin(), table.bytes.end());
  filler.count = static_cast<std::uint16_t>(filler.count + table.count);
  table = filler;
  server.station.library->answers.assign(total, u"");
}

// A second array beside the one with three slots.
void AddMemoryDevices(ReferenceServer& server, unsigned total) {
  constexpr unsigned kPresent = 3;
  simulation::SmbiosTable& table = server.station.smbios;
  std::vector<std::uint8_t> array(11);
  array[9] = static_cast<std::uint8_t>(total - kPresent);
  table.Add(16, 0x1001, array);
  std::vector<std::uint8_t> device(0x17);
  device[0x0C] = 1;
  device[0x0D] = 2;
  for (unsigned i = kPresent; i < total; ++i) {
    table.Add(17, static_cast<std::uint16_t>(0x1200 + i), device, {"DIMM_C1", "NODE 3"});
    const std::u16string name = u"Memory" + simulation::Widen(std::to_string(i)) + u"_";
    auto& parameters = server.station.library->parameters;
    parameters[name + u"DeviceLocator"] = u"DIMM_C1";
    parameters[name + u"BankLocator"] = u"NODE 3";
    parameters[name + u"Speed"] = parameters[name + u"Size"] = u"0";
  }
}

// Other functions, and the controller moved behind them.
void AddPciFunctions(ReferenceServer& server, unsigned total) {
  auto& headers = server.root_bridge.headers;
  const auto controller = headers.begin()->second;
  headers.clear();
  for (unsigned i = 0; i + 1 < total; ++i) server.root_bridge.AddFunction((i / 31 << 24) + (i % 31 << 16), 0x8086, 1);
  headers[((total - 1) / 31 << 24) + ((total - 1) % 31 << 16)] = controller;
}

void AddFruDevices(ReferenceServer& server, unsigned total) {
  auto& devices = server.controller.frus[simulation::kControllerAddress];
  const auto product = devices.at(2);
  const auto board = devices.at(4);
  devices.clear();
  for (std::uint8_t id = 1; devices.size() < total; ++id) devices[id] = id <= 3 ? product : board;
}

// Variables in front of the wanted one.
void AddVariables(ReferenceServer& server, unsigned total) {
  auto& variables = server.station.machine.variables;
  const auto wanted = *variables.Find(u"SERIAL", simulation::kShellVariableGuid);
  variables.variables.clear();
  for (unsigned i = 1; i < total; ++i) variables.Add(u"Boot" + simulation::Widen(std::to_string(i)), {1, 2, 3});
  variables.variables.push_back(wanted);
}

void AddEventMasks(ReferenceServer& server, unsigned total) {
  auto& parameters = server.station.library->parameters;
  const std::u16string expected = parameters.at(u"Event_Mask_00");
  for (unsigned i = 0; i < total; ++i) {
    const std::u16string number = simulation::Widen(std::to_string(i));
    parameters[(i < 10 ? u"Event_Mask_0" : u"Event_Mask_") + number] = i + 1 < total ? u"1" : expected;
  }
}

void MeasureGrowth() {
  const ReferenceRun by_variable = {4, "", {{u"System_Serial_Number", u"env=SERIAL"}}};
  const struct {
    const char* subject;
    ReferenceRun run;
    void (*grow)(ReferenceServer& server, unsigned total);
    std::vector<unsigned> sizes;
  } series[] = {
      {"1 by SMBIOS structures", FirstRun(1), FillTable, {16, 32, 64, 128, 255}},
      {"22 by SMBIOS structures", FirstRun(22), FillTable, {16, 32, 64, 128, 255}},
      {"35 by SMBIOS structures", FirstRun(35), FillTable, {16, 32, 64, 128, 255}},
      {"36 by SMBIOS structures", FirstRun(36), FillTable, {16, 32, 64, 128, 255}},
      {"0 by SMBIOS structures", FirstRun(0), FillTable, {16, 32, 64, 128, 255}},
      {"36 by memory devices", FirstRun(36), AddMemoryDevices, {4, 8, 16, 32, 64}},
      {"33 by PCI functions", FirstRun(33), AddPciFunctions, {1, 25, 50, 100, 200}},
      {"41 by FRU devices", FirstRun(41), AddFruDevices, {1, 2, 4, 8, 16}},
      {"4 by variables", by_variable, AddVariables, {10, 50, 100, 500, 1000}},
      {"37 by event masks", FirstRun(37), AddEventMasks, {1, 5, 10, 25, 50}},
  };
  for (const auto& one : series) {
    for (const unsigned size : one.sizes) {
      MeasureModule("growth", one.subject, one.run, size, [&](ReferenceServer& server) { one.grow(server, size); });
    }
  }
}

}  // namespace

int main(int count, char** words) {
  const std::string figure = count > 1 ? words[1] : "";
  try {
    if (figure == "tests") {
      MeasureTests();
    } else if (figure == "identity" && count > 2) {
      MeasureIdentity(words[2]);
    } else if (figure == "growth") {
      MeasureGrowth();
    } else {
      return 2;
    }
  } catch (const std::exception& fault) {
    std::fprintf(stderr, "bench: %s\n", fault.what());
    return 1;
  }
  return 0;
}
