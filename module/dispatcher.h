// SPDX-License-Identifier: BSD-2-Clause-Patent
// One run, from the introduction to EndTest.
#pragma once

#include "platform/protocols/test_library.h"

namespace mfgtest {

// The module's one descriptor: what it tells the test library of itself, and
// what it was told.
extern constinit TestDescriptor descriptor;

// Introduces the module to the test library, runs the test that the operator
// selected and ends the run. EndTest is called exactly once, whatever happens.
void RunSelectedTest();

}  // namespace mfgtest
