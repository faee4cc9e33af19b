// SPDX-License-Identifier: BSD-2-Clause-Patent
// Answers on the terminal.
#pragma once

#include <string>
#include <vector>

#include "mfgline/answers.h"

namespace mfgline {

void ShowTable(const std::vector<Unit>& units);
void ShowUnit(const Unit& unit, const Details& details);
void ShowSummary(const Summary& summary, long running);
void ShowWaivers(const std::vector<Waiver>& waivers);

// One attempt of a unit for the comparison with another one.
struct Side {
  const Attempt& attempt;
  const std::vector<Step>& steps;
  std::map<std::string, std::string> settings;
};

// Tells whether they agree in everything but their own times.
bool ShowDifferences(const Side& one, const Side& other);

// "4 System serial number: string-mismatch: System_Serial_Number mismatched."
std::string FirstFailure(const Attempt& attempt);
std::string TestName(const std::string& test, const std::string& title);

}  // namespace mfgline
