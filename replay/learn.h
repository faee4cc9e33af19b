// SPDX-License-Identifier: BSD-2-Clause-Patent
// A parameter file from what a machine is.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "replay/machine_data.h"

namespace replay {

// What is known of one unit.
struct Unit {
  // What Autosense published, by name.
  std::map<std::string, std::string> results{};
  // The parameters with which it ran.
  std::map<std::string, std::string> parameters{};
};

// The station's sample of a parameter file.
std::string_view SampleFile();

// Runs Autosense with these words, the sample's settings behind them. What it
// reported goes to `complaint`, which stays empty for a machine that it can read.
Unit LearnFromMachine(const MachineData& data, const std::vector<std::string>& files,
                      const std::vector<std::string>& words, std::string* complaint);

// Of a line run or an Autosense run that was recorded.
Unit LearnFromRecord(const std::filesystem::path& file);

// The sample with the unit's values; what differs between the units is asked.
std::string ParameterFile(const std::vector<Unit>& units);

}  // namespace replay
