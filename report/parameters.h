// Expected values as test parameters give them: the value itself, or "env="
// and the name of the shell environment variable that holds it.
#pragma once

#include <array>

namespace mfgtest {

inline constexpr std::size_t kReferencePrefixCharacters = 4;

// The first characters of a parameter's value, at most four.
struct ReferencePrefix {
  explicit ReferencePrefix(const char16_t* value);

  // Whether they are "env=" in any case.
  bool NamesVariable() const;

  std::array<char16_t, kReferencePrefixCharacters + 1> text;
};

}  // namespace mfgtest
