// SPDX-License-Identifier: BSD-2-Clause-Patent
// The reference server's controller behind a KCS interface.
#pragma once

#include "simulation/kcs_interface.h"
#include "simulation/reference_server.h"

namespace fuzz {

simulation::KcsInterface::Controller Serving(simulation::ManagementController& controller);

// Leaves the controller to a driver.
void RemoveTransport(simulation::ReferenceServer& server);

}  // namespace fuzz
