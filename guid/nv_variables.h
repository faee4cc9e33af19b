// SPDX-License-Identifier: BSD-2-Clause-Patent
// The factory's non-volatile variables, each of which a parameter names.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "platform/format.h"

namespace mfgtest {

// What the library is told of the buffer of a variable's name.
inline constexpr std::size_t kNameBytes = 50;
using VariableName = std::array<char16_t, kNameBytes + 1>;

// A parameter that names one NV variable and nothing else.
struct NameParameter {
  const char16_t* name;
  const char16_t* required;
  CheckedFormat<> missing;
  CheckedFormat<> invalid;
};

// The name from the parameter; a missing one, and one of another variable, are
// reported with code 1.
[[nodiscard]] bool RequireName(const NameParameter& parameter, VariableName& value);

// The same for a probe, in two steps and silent: the parameter, and whether it
// names the variable. "NO" says that the platform has none.
[[nodiscard]] bool ReadProbeName(const NameParameter& parameter, VariableName& value);
[[nodiscard]] bool ProbeName(const NameParameter& parameter, VariableName& value);

// Stores the variable and shows what was stored. A failure is reported with
// code 20.
[[nodiscard]] bool StoreNvVariable(const char16_t* name, std::span<const std::uint8_t> data);

// Debug messages of bytes in hexadecimal.
void ShowBytes(std::uint32_t mask, std::span<const std::uint8_t> bytes);

}  // namespace mfgtest
