// SPDX-License-Identifier: BSD-2-Clause-Patent
#pragma once

#include "simulation/machine.h"

namespace fuzz {

// What a line leaves: a verdict goes with its summary, and a pass with no error.
void CheckLineVerdict(const simulation::Machine& machine);

}  // namespace fuzz
