// SPDX-License-Identifier: BSD-2-Clause-Patent
// The command line of replay.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "replay/machine_data.h"

namespace replay {

struct FruFile {
  std::uint8_t address;  // of the controller that has the device
  std::uint8_t id;
  std::string file;
};

struct Options {
  enum class Action { kRun, kRunLine, kLearn, kShowHelp, kShowGdbHelp };
  Action action = Action::kRun;
  // Of learn, up to two: folders of dump.efi, or records.
  std::vector<std::string> dumps;
  std::optional<std::string> smbios;
  std::vector<FruFile> frus;
  std::vector<std::string> files;
  // Where the record of the run goes; empty for nowhere.
  std::string record;
  bool waits_for_real = false;
  // What the test library is to read.
  std::vector<std::string> words;
};

// Throws BadInput for a command line that cannot be taken.
Options ReadOptions(const std::vector<std::string>& words);

// The machine that they name.
MachineData ReadMachine(const Options& options);

extern const char* const kHelpText;
extern const char* const kGdbHelpText;

}  // namespace replay
