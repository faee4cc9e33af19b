// SPDX-License-Identifier: BSD-2-Clause-Patent
// A server with a system GUID in its SMBIOS table, as the tests of this folder
// change it.
#pragma once

#include <algorithm>
#include <array>
#include <cstdio>
#include <span>
#include <string>

#include "simulation/network.h"
#include "simulation/station.h"

using GuidBytes = std::array<std::uint8_t, 16>;

// Version 1, made in 2010, of the controller 00:11:22:33:44:55.
inline constexpr GuidBytes kServerGuid = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0x11, 0xDF,
                                          0x8A, 0xBC, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
inline constexpr std::array<std::uint8_t, 6> kServerMac = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};

inline simulation::SmbiosTable TableWithGuid(const GuidBytes& guid) {
  std::vector<std::uint8_t> fields(0x1B - 4);
  fields[0] = 1;
  std::ranges::copy(guid, fields.begin() + 4);
  simulation::SmbiosTable table;
  table.Add(0, 0x0000, std::vector<std::uint8_t>(20, 0)).Add(1, 0x0100, fields, {"ACME"}).Add(127, 0x7F00, {});
  return table;
}

inline std::string Hexadecimal(std::span<const std::uint8_t> bytes, const char* form = "%02x") {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    std::array<char, 16> digits;
    std::snprintf(digits.data(), digits.size(), form, byte);
    text += digits.data();
  }
  return text;
}

inline EFI_TIME Clock(std::uint16_t year, std::uint8_t month, std::uint8_t day, std::uint8_t hour, std::uint8_t minute,
                      std::uint8_t second) {
  EFI_TIME time{};
  time.Year = year;
  time.Month = month;
  time.Day = day;
  time.Hour = hour;
  time.Minute = minute;
  time.Second = second;
  return time;
}
