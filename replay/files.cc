// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "replay/files.h"

#include "replay/machine_data.h"
#include "replay/text.h"

namespace replay {

void AddFiles(simulation::ModernShell& shell, const std::vector<std::string>& files) {
  for (const std::string& file : files) shell.files[FromUtf8(file)] = ReadBytes(file);
}

}  // namespace replay
