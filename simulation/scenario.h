// SPDX-License-Identifier: BSD-2-Clause-Patent
// A scenario: a machine, what the operator types, and the transcript that must
// come of it. The same file is run here and on firmware in QEMU.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "simulation/smbios_table.h"

namespace simulation {

struct Scenario {
  // QEMU's -smbios options.
  std::vector<std::string> smbios;
  // Shell variables.
  std::map<std::u16string, std::u16string> variables;
  // The words behind mfgtest.efi, and what a library makes of them.
  std::vector<std::u16string> words;
  std::uint32_t test = 0;
  std::map<std::u16string, std::u16string> parameters;
  std::vector<std::string> transcript;
};

// Throws std::runtime_error, with the file and line, for what is not in the
// format.
Scenario ReadScenario(const std::filesystem::path& file);

// The structures that QEMU makes of its options, with its handles.
SmbiosTable QemuSmbiosTable(const std::vector<std::string>& options);

}  // namespace simulation
