// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/fault.h"

#include <cstdio>
#include <cstdlib>

namespace simulation {

constinit FaultHandler fault_handler = [](const std::string& what) {
  std::fprintf(stderr, "simulated machine: %s\n", what.c_str());
  std::abort();
};

void Fault(const std::string& what) { fault_handler(what); }

}  // namespace simulation
