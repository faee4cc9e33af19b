// SPDX-License-Identifier: BSD-2-Clause-Patent
// Which routine each test number runs.
#pragma once

#include <cstdint>
#include <span>

namespace mfgtest {

struct CatalogueEntry {
  std::uint32_t number;
  void (*routine)(std::uint32_t argument);
  // The field index of an identity test, else 0.
  std::uint32_t argument;
};

// All tests, sorted by number.
std::span<const CatalogueEntry> Catalogue();

// The test of that number, or null when there is none.
const CatalogueEntry* FindTest(std::uint32_t number);

}  // namespace mfgtest
