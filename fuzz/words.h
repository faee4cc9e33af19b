// SPDX-License-Identifier: BSD-2-Clause-Patent
// What the products look for by name: a dictionary for whoever makes inputs.
#pragma once

#include <span>
#include <string>

namespace fuzz {

enum class Vocabulary { kNone, kTables, kParameters, kRecords, kDumps };

std::span<const std::string> WordsOf(Vocabulary kind);

}  // namespace fuzz
