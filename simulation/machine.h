// SPDX-License-Identifier: BSD-2-Clause-Patent
// A simulated machine: firmware services behind an EFI system table, on which
// the products' own sources run as an ordinary program. Devices are separate
// structures that plug themselves into a machine: a protocol on a handle, a
// configuration table, memory at an address.
#pragma once

#include <functional>
#include <list>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/efi.h"
#include "simulation/console.h"
#include "simulation/handle_database.h"
#include "simulation/injection.h"
#include "simulation/memory.h"
#include "simulation/variables.h"

namespace simulation {

// One call of a service that looks for a protocol, in the order of the calls.
struct ProtocolCall {
  enum class Service { kHandleProtocol, kLocateHandle };
  Service service;
  EFI_GUID protocol;
  friend bool operator==(const ProtocolCall& a, const ProtocolCall& b) {
    return a.service == b.service && SameGuid(a.protocol, b.protocol);
  }
};

// How an image came to its end.
struct ImageEnd {
  EFI_STATUS status;
  bool by_exit_service;
};

using ImageEntry = EFI_STATUS (*)(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

// An image file: what runs when it is started, or why it is not loaded.
struct Program {
  ImageEntry entry = nullptr;
  bool is_driver = false;
  EFI_STATUS load_status = EFI_SUCCESS;
};

// Thrown where the machine leaves what it does: by the service ResetSystem, and
// by a program that hangs until the watchdog bites.
struct MachineReset {
  EFI_RESET_TYPE type;
};

// Thrown where the machine waits for a key that nobody presses.
struct WaitsForEver : std::logic_error {
  WaitsForEver() : std::logic_error("WaitForEvent would wait for ever") {}
};

// Firmware services have no argument that tells the machine, so there is one
// machine at a time.
struct Machine {
  Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;
  ~Machine();

  static Machine& Current();

  void AddConfigurationTable(const EFI_GUID& guid, void* table);
  // The firmware's service: in place of the entry with that GUID; null takes it away.
  EFI_STATUS InstallConfigurationTable(const EFI_GUID& guid, void* table);

  // A handle with a loaded image on it.
  EFI_HANDLE LoadImage();
  // From a volume's file.
  EFI_HANDLE LoadImage(EFI_HANDLE volume, const std::u16string& path);
  ImageEnd StartImage(EFI_HANDLE image, ImageEntry entry);
  void UnloadImage(EFI_HANDLE image);

  // The images of the volumes, by their path from the root.
  std::map<std::u16string, Program> programs;
  // Set by whoever runs; 0 for none.
  std::uint64_t watchdog_seconds = 0;
  bool is_connected = false;
  EFI_STATUS LoadProgram(EFI_HANDLE parent, const std::u16string& path, EFI_HANDLE* image);
  EFI_STATUS StartProgram(EFI_HANDLE image);

  Memory memory;
  HandleDatabase handles;
  VariableStore variables;
  Console console;
  EFI_TIME time{};
  std::uint64_t stalled_microseconds = 0;
  // Longer ones are counted only, in microseconds.
  std::uint64_t longest_real_stall = 0;
  std::vector<ProtocolCall> protocol_calls;
  Injection injection;
  // Of the running image: calls of the platform and of the test library.
  std::uint64_t steps = 0;
  // A run that takes more does not come to its end.
  std::uint64_t most_steps = 200'000;
  // What was asked to change the machine, in its order. After a failed check of
  // the run that is a fault: a machine that was found wrong keeps what it holds.
  void NoteWrite(const char* what);
  std::vector<std::string> writes;
  bool has_failed_check = false;
  // Runs before every search for all handles with a protocol: some firmware
  // works while it is called.
  std::function<void(const EFI_GUID& protocol)> before_search;
  // Runs when a driver is to start on a handle; a fast boot leaves devices without.
  std::function<void(EFI_HANDLE handle)> on_connect;
  // The firmware's memory map, and how often it grows while it is asked for.
  std::vector<EFI_MEMORY_DESCRIPTOR> memory_map = {{EfiConventionalMemory, 0, 0, 0, 0xA0, 0}};
  int memory_map_growths = 0;
  // A search for all handles with this protocol succeeds and gives none.
  EFI_GUID found_nowhere{};
  // Physical addresses 0xF0000 to 0xFFFFF, and the page behind them.
  Mapping bios_segment = Mapping::At(0xF0000, 0x11000);
  EFI_SYSTEM_TABLE system_table{};

 private:
  EFI_BOOT_SERVICES boot_services_{};
  EFI_RUNTIME_SERVICES runtime_services_{};
  std::vector<EFI_CONFIGURATION_TABLE> configuration_tables_;
  struct FileImage {
    const Program* program;
    std::vector<std::uint8_t> path;
  };
  std::list<EFI_LOADED_IMAGE> loaded_images_;
  std::map<EFI_HANDLE, FileImage> file_images_;
};

}  // namespace simulation
