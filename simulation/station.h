// SPDX-License-Identifier: BSD-2-Clause-Patent
// A station with a machine under test on it: the devices that every run of the
// module needs, and the run itself.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulation/collation.h"
#include "simulation/machine.h"
#include "simulation/old_shell.h"
#include "simulation/recorder.h"
#include "simulation/smbios_table.h"

namespace simulation {

// Every image starts with its globals as the linker laid them out: the module's
// before a run.
void ForgetEarlierRun();

// Devices may be taken away or changed before the first run.
struct Station {
  Station();

  // Starts mfgtest.efi from the shell and gives the transcript. A fault is:
  // EndTest not exactly once and last after Initialize, or at all without it;
  // a library table that is not as it was; memory that was not given back.
  std::vector<std::string> Run(std::uint32_t test);
  // The same, for a caller that wants no transcript: that takes longer than the
  // run.
  void RunUnread(std::uint32_t test);

  // What the library was asked for so far.
  std::vector<std::string> Transcript() const;

  // Makes the module's own globals usable without a run, for tests of single
  // routines.
  void Bind();

  Machine machine;
  std::optional<Collation> collation;
  std::optional<OldShell> shell;
  std::optional<Recorder> library;
  // Put into the machine by the first run.
  SmbiosTable smbios;
  SmbiosPlacement smbios_placement;
  std::optional<SmbiosDevice> smbios_device;
  // Blocks of the pool that a run may keep.
  std::size_t kept_blocks = 0;
  // How the last run ended, and the handle of its image.
  ImageEnd end{};
  EFI_HANDLE image = nullptr;
};

}  // namespace simulation
