// SPDX-License-Identifier: BSD-2-Clause-Patent
// A fault of the simulated machine fails the test in which it happens.
#pragma once

#include <gtest/gtest.h>

#include "simulation/fault.h"

inline const bool faults_fail_tests = [] {
  simulation::fault_handler = [](const std::string& what) { ADD_FAILURE() << "simulated machine: " << what; };
  return true;
}();
