// SPDX-License-Identifier: BSD-2-Clause-Patent
// Answers for other programs: spreadsheets, build servers, browsers.
#pragma once

#include <filesystem>
#include <functional>
#include <ostream>
#include <vector>

#include "mfgline/answers.h"

namespace mfgline {

void WriteCsv(std::ostream& to, const std::vector<Unit>& units);
// The same head in every row, and one value or finding of any attempt.
void WriteCsvHead(std::ostream& to);
void WriteCsvValues(std::ostream& to, const Unit& unit, const Details& details);

// One suite a unit, of its last attempt.
void WriteJunitSuite(std::ostream& to, const Unit& unit, const Details& details);

// index.html with its style and script, and one page a unit in units/.
void WriteIndexPage(const std::filesystem::path& folder, const Summary& summary, const std::vector<Unit>& units,
                    long running);
void WriteUnitPage(const std::filesystem::path& folder, const Unit& unit, const Details& details);

}  // namespace mfgline
