// SPDX-License-Identifier: BSD-2-Clause-Patent
// From files, folders and standard input into the database.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "mfgline/database.h"

namespace mfgline {

struct Sources {
  // "-" is standard input.
  std::vector<std::string> paths;
  // Keep looking for new and changed files, until SIGINT or for so many seconds.
  bool watch = false;
  std::optional<long> seconds;
};

// Tells what it did on standard output, and damage and progress on standard
// error. True when nothing was damaged.
bool Add(Database& database, const Sources& sources);

}  // namespace mfgline
