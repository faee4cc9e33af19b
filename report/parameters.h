// SPDX-License-Identifier: BSD-2-Clause-Patent
// What the line gives a test: its parameters, by name.
#pragma once

#include "platform/format.h"
#include "report/environment.h"
#include "report/mode.h"

namespace mfgtest {

enum class ParameterResult : std::uint8_t { kRead, kTooLong, kAbsent };

// A text. The library is told that its buffer has `bytes`; it holds at least as
// many characters and one more.
[[nodiscard]] ParameterResult ReadText(const char16_t* name, char16_t* value, std::size_t bytes);

// A number. One that is absent or malformed leaves `value` as it was.
[[nodiscard]] bool ReadNumber(const char16_t* name, std::uint32_t* value);

// The message of a parameter that is missing, with its name.
using MissingParameter = CheckedFormat<const char16_t*>;
inline constexpr MissingParameter kFailedToGetParameter{"\r\nFailed to get param: %s\r\n"};

// Returns false. Leaves the missing parameter as the reason; a test also
// reports it, with code 1.
bool FailOnParameter(const char16_t* name, Mode mode = Mode::kTest, MissingParameter message = kFailedToGetParameter);

// A number that has to be there.
[[nodiscard]] bool RequireNumber(const char16_t* name, std::uint32_t* value, Mode mode = Mode::kTest,
                                 MissingParameter message = kFailedToGetParameter);

// An expected value is the value itself, or "env=" in any case and the name of
// the shell environment variable that holds it.
struct ValueReference {
  static constexpr std::size_t kPrefixCharacters = 4;

  explicit ValueReference(const char16_t* value);

  bool NamesVariable() const;
  const char16_t* VariableName() const { return whole + kPrefixCharacters; }

  const char16_t* whole;
  // The first characters of the value, at most four.
  std::array<char16_t, kPrefixCharacters + 1> prefix;
};

// The value of the variable that a parameter names. A variable that cannot be
// read is reported with code 17 and the message, which quotes its name.
[[nodiscard]] bool ReadNamedVariable(const char16_t* name, CheckedFormat<const char16_t*> missing,
                                     EnvironmentValue& value);

}  // namespace mfgtest
