// SPDX-License-Identifier: BSD-2-Clause-Patent
// CRC-32 as Ethernet, zip and UEFI compute it (IEEE 802.3, reflected).
#pragma once

#include <cstdint>
#include <span>

namespace platform {

constexpr std::uint32_t Crc32(std::span<const std::uint8_t> bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const std::uint8_t byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (0xEDB88320 & -(crc & 1));
  }
  return ~crc;
}

}  // namespace platform
