// SPDX-License-Identifier: BSD-2-Clause-Patent
// The reason of the last failed lookup. An access routine that fails leaves its
// reason here; the test that called it quotes the text in its own message.
#pragma once

#include <array>

#include "platform/format.h"

namespace mfgtest {

inline constexpr std::size_t kLastErrorCharacters = 256;

// The module-wide buffer behind SetLastError.
extern constinit std::array<char16_t, kLastErrorCharacters> last_error;

inline const char16_t* LastError() { return last_error.data(); }

// Replaces the whole text, cut to the buffer. The arguments must not lie in
// the buffer itself; a message that quotes the earlier text takes it from
// EarlierLastError.
template <class... Args>
void SetLastError(Format<Args...> format, const Args&... arguments) {
  FormatText(last_error, format, arguments...);
}

// A copy of the text, for a message that puts its own words in front of it.
struct EarlierLastError {
  const char16_t* Text() const { return copy.data(); }

  std::array<char16_t, kLastErrorCharacters> copy = last_error;
};

}  // namespace mfgtest
