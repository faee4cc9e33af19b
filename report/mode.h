// SPDX-License-Identifier: BSD-2-Clause-Patent
// What a routine is run for.
#pragma once

#include <cstdint>

namespace mfgtest {

// A test reports to the library. A probe, for Autosense, leaves the reason of
// a failure in the last-error text instead.
enum class Mode : std::uint8_t { kTest, kProbe };

}  // namespace mfgtest
