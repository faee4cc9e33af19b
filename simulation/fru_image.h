// SPDX-License-Identifier: BSD-2-Clause-Patent
// FRU inventory images (IPMI Platform Management FRU Information Storage
// Definition v1.0) from a description that a person can read.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace simulation {

using Bytes = std::vector<std::uint8_t>;

// An info area: its texts in the order of the standard, then extra ones.
struct FruArea {
  std::vector<std::string> fields;
  // A multiple of 8; 0 puts it behind the area before.
  std::uint16_t offset = 0;
};

struct FruDescription {
  std::uint8_t chassis_type = 0x17;  // rack mount
  std::uint32_t board_minutes = 0;   // since 1996-01-01 00:00
  std::optional<FruArea> chassis{};
  std::optional<FruArea> board{};
  std::optional<FruArea> product{};
  // Written over the finished image, by offset: it need not stay sound.
  std::map<std::uint16_t, std::uint8_t> bytes{};
  // Of the device; erased bytes fill what the areas leave.
  std::size_t size = 256;
};

std::uint32_t FruMinutes(std::chrono::year_month_day date);

// Throws std::invalid_argument for what no image can hold.
Bytes BuildFruImage(const FruDescription& description);

// What makes the bytes add up to 0.
std::uint8_t ZeroChecksum(const Bytes& bytes);

}  // namespace simulation
