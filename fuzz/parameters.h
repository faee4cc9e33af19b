// SPDX-License-Identifier: BSD-2-Clause-Patent
// The reference server under the real test library.
#pragma once

#include "fuzz/whole_run.h"

namespace fuzz {

// A file with these parameters.
Bytes ParameterFile(const std::map<std::u16string, std::u16string>& parameters);

// Takes the station's recorder and shell away.
void LeaveStation(ReferenceServer& server);

// Runs the server's test by the library on a modern shell and judges it. What the
// input holds are words of the command line and a parameter file.
void RunAndJudgeByLibrary(Input& input, ReferenceServer& server);

}  // namespace fuzz
