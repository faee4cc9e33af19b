// SPDX-License-Identifier: BSD-2-Clause-Patent
// A management controller as a text that a person writes and reads: what its
// FRU devices hold, and what it does wrong. tests/ipmi/README.md tells the
// format.
#pragma once

#include <string_view>

#include "simulation/management_controller.h"

namespace simulation {

// Throws std::runtime_error, with the line, for what is not in the format.
ManagementController ParseController(std::string_view text);

}  // namespace simulation
