// SPDX-License-Identifier: BSD-2-Clause-Patent
// The files of a dump: the loader, then a run on the machine that it made.
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "fuzz/targets.h"
#include "fuzz/whole_run.h"
#include "platform/crc32.h"
#include "replay/run.h"
#include "simulation/fault.h"

namespace fuzz {
namespace {

namespace fs = std::filesystem;

constexpr const char* kNames[] = {"machine.json", "smbios.bin",   "rsdp.bin",  "variables.json",
                                  "pci.txt",      "eventlog.bin", "fru-0.bin", "fru-0-at-c0.bin"};
// Without those that read memory at an address of the input: the sanitizers have
// their own below 4 GiB.
constexpr std::uint32_t kTests[] = {1, 10, 14, 20, 21, 24, 27, 33, 34, 36, 37, 39, 40, 41};
constexpr std::uint64_t kMostSteps = 200'000;

void Write(const fs::path& file, const Bytes& bytes) {
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// An index that vouches for the one file.
Bytes IndexOf(const char* name, const Bytes& content) {
  const std::string text = std::string(R"({"format": "mfgtest dump", "version": 1, "controller": {}, "files": [)") +
                           R"({"name": ")" + name + R"(", "size": )" + std::to_string(content.size()) +
                           R"(, "crc32": )" + std::to_string(platform::Crc32(content)) + "}]}";
  return {text.begin(), text.end()};
}

void Run(const fs::path& folder, const std::string& test) {
  replay::ReplayedMachine machine(replay::ReadDump(folder));
  machine.machine.most_steps = kMostSteps;
  replay::Session session(machine, false);
  session.Run({test, "System_Manufacturer=x", "Chassis_Type=1", "READ_GUID_METHOD=SMBIOS", "1394_GUID_NAME=Mfg1394Uuid",
               "VERIFY_MACADDR_AGAINST=MACADDR_ONBOARD", "1394_VENDOR_ID=1", "1394_DEVICE_ID=1", "SYS_BD_FRU_ID=0",
               "HSBP=1", "MFG_DATE=2009/06/15", "Memory0_Size=env=x", "OEM_BIOS_String=x"});
}

}  // namespace

// The file, the test, then what the file holds.
void FuzzDump(Input input) {
  static const fs::path folder = fs::temp_directory_path() / ("mfgtest-fuzz-" + std::to_string(getpid()));
  const char* const name = kNames[input.Below(std::size(kNames))];
  const std::string test = std::to_string(ChooseTest(input, kTests));
  const Bytes content = input.Rest();
  fs::create_directory(folder);
  Write(folder / "machine.json", IndexOf(name, content));
  Write(folder / name, content);
  try {
    Run(folder, test);
  } catch (const replay::BadInput&) {
    // Said, with the file and the place.
  }
  fs::remove_all(folder);
}

}  // namespace fuzz
