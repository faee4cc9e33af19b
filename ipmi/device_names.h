// SPDX-License-Identifier: BSD-2-Clause-Patent
// What the FRU devices of a platform are called.
#pragma once

#include <cstdint>

namespace mfgtest {

// Which of the two tables names the FRU devices of a platform.
enum class FruNames : std::uint8_t { kStandard, kSecondTable };

// The controller's answer to the OEM query on platforms of the second table.
inline constexpr std::uint8_t kSecondTableOemCode = 11;

// The SAS backplanes, which answer slowly.
inline constexpr std::uint8_t kFirstBackplane = 5;
inline constexpr std::uint8_t kLastBackplane = 7;
constexpr bool IsBackplane(std::uint8_t id) { return id >= kFirstBackplane && id <= kLastBackplane; }

// The name of a FRU device; "Unknown" for an ID beyond the table.
const char16_t* FruDeviceName(std::uint8_t id, FruNames names = FruNames::kStandard);

}  // namespace mfgtest
