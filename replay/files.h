// SPDX-License-Identifier: BSD-2-Clause-Patent
// Files of the host as a program on the machine opens them.
#pragma once

#include <string>
#include <vector>

#include "simulation/modern_shell.h"

namespace replay {

// Each under the path by which it is named.
void AddFiles(simulation::ModernShell& shell, const std::vector<std::string>& files);

}  // namespace replay
