// SPDX-License-Identifier: BSD-2-Clause-Patent
// Shell environment variables, read through the firmware's variables and set
// through the shell.
#pragma once

#include <array>
#include <span>

namespace mfgtest {

// Room for the value of an environment variable.
inline constexpr std::size_t kEnvironmentValueCharacters = 256;
using EnvironmentValue = std::array<char16_t, kEnvironmentValueCharacters>;

// Finds the first firmware variable of that name, whatever its vendor GUID and
// the case of its ASCII letters, and copies its value, cut to `value`. Returns
// false, with `value` as it was, when there is none, when the name is empty or
// null, and when the first match cannot be read.
[[nodiscard]] bool FindEnvVariable(const char16_t* name, std::span<char16_t> value);

// Has the shell set the variable or, with an empty or null value, delete it.
// Returns false with a reason in the last-error text when there is no shell to
// ask, and false without one when the shell refuses.
[[nodiscard]] bool SetShellEnvVariable(const char16_t* name, const char16_t* value);

}  // namespace mfgtest
