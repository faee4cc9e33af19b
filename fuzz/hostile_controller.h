// SPDX-License-Identifier: BSD-2-Clause-Patent
// A management controller that tells the truth but for some of its answers.
#pragma once

#include "fuzz/input.h"
#include "simulation/management_controller.h"

namespace fuzz {

// Takes what shall be wrong from the input and puts it into the controller's
// answers, each when its turn comes. Messages from behind the IPMB stay sound in
// their checksums where the input says so.
void Distort(Input& input, simulation::ManagementController& controller);

// Changes what a FRU device of that controller holds, with the rest of the input.
void EditFru(Input& input, simulation::ManagementController& controller, std::uint8_t address);

}  // namespace fuzz
