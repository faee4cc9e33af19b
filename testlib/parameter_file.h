// SPDX-License-Identifier: BSD-2-Clause-Patent
// Parameter files: lines of NAME = VALUE.
//
//   # a comment, on its own line or after a blank
//   System_Manufacturer = ACME        blanks around a value do not count
//   System_Product      = "X 200 "    unless it stands in quotation marks
//   Chassis_Asset       = ""          an empty value must be said so
//
// ASCII, UTF-8, or UCS-2 with a byte-order mark; lines end with LF, CR LF or
// CR.
#pragma once

#include <span>

#include "testlib/parameters.h"

namespace testlib {

inline constexpr std::size_t kFileBytes = 64 * 1024;
inline constexpr std::size_t kLineCharacters = 1023;

// Defines the parameters of a file's content. Stops at the first fault and
// gives false, with the number of its line and what was expected there.
bool ReadParameterFile(std::span<const std::uint8_t> content, std::uint16_t source, ParameterStore& store,
                       std::uint32_t* line, ErrorText& error);

}  // namespace testlib
