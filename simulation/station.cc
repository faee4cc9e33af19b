#include "simulation/station.h"

#include <algorithm>

#include "ipmi/transport.h"
#include "module/dispatcher.h"
#include "module/last_error.h"
#include "module/report.h"
#include "pci/access.h"
#include "platform/image.h"
#include "simulation/fault.h"

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

namespace simulation {
namespace {

void CheckCalls(const Recorder& library) {
  const auto count = [&](Operation operation) {
    return std::ranges::count(library.calls, operation, &Call::operation);
  };
  const auto begun = count(Operation::kInitialize);
  if (begun > 1) Fault("Initialize was called more than once");
  if (count(Operation::kEndTest) != begun) Fault("EndTest was not called exactly once");
  if (begun == 0) return;
  if (library.calls.front().operation != Operation::kInitialize) Fault("a call of the library before Initialize");
  if (library.calls.back().operation != Operation::kEndTest) Fault("a call of the library after EndTest");
  if (!library.table_was_whole_in_initialize) Fault("Initialize was called before its slot was restored");
}

}  // namespace

void ForgetEarlierRun() {
  mfgtest::TestLib = nullptr;
  mfgtest::descriptor = {};
  mfgtest::last_error = {};
  mfgtest::ipmi_session = {};
  mfgtest::pci_session = {};
}

Station::Station() {
  collation.emplace(machine, kUnicodeCollation2ProtocolGuid);
  shell.emplace(machine);
  library.emplace(machine);
}

void Station::Bind() {
  ForgetEarlierRun();
  if (!smbios_device) smbios_device.emplace(machine, smbios, smbios_placement);
  image = machine.LoadImage();
  machine.StartImage(image, [](EFI_HANDLE handle, EFI_SYSTEM_TABLE* system_table) -> EFI_STATUS {
    platform::InitializeImage(handle, system_table);
    return EFI_SUCCESS;
  });
  mfgtest::TestLib = &library->table;
  mfgtest::descriptor.ImageHandle = image;
}

std::vector<std::string> Station::Run(std::uint32_t test) {
  RunUnread(test);
  return library ? Transcript() : std::vector<std::string>();
}

void Station::RunUnread(std::uint32_t test) {
  ForgetEarlierRun();
  if (!smbios_device) smbios_device.emplace(machine, smbios, smbios_placement);
  if (library) library->calls.clear();
  if (library) library->selected_test = test;
  const std::size_t allocated = machine.memory.Outstanding();

  const CommandLine command_line({u"FS0:\\mfgtest.efi", u"--station", u"7"});
  image = machine.LoadImage();
  end = shell ? shell->Run(image, efi_main, command_line) : machine.StartImage(image, efi_main);
  machine.UnloadImage(image);

  // The list of root bridges is the module's for good.
  const std::size_t kept = mfgtest::pci_session.handles.data() == nullptr ? 0 : 1;
  const std::size_t left = machine.memory.Outstanding() - allocated;
  if (left < kept || left > kept + kept_blocks) Fault("memory was not given back");
  if (!library) return;
  if (!library->TableIsWhole()) Fault("the library's table was left changed");
  CheckCalls(*library);
}

std::vector<std::string> Station::Transcript() const {
  std::vector<std::string> transcript;
  std::ranges::transform(library->calls, std::back_inserter(transcript), TranscriptText);
  return transcript;
}

}  // namespace simulation
