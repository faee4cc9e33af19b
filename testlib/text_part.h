// SPDX-License-Identifier: BSD-2-Clause-Patent
// Parts of a text, cut to what is there. The standard library's substr throws,
// and an image has nothing to throw with.
#pragma once

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

namespace testlib {

constexpr std::u16string_view PartBefore(std::u16string_view text, std::size_t end) {
  return {text.data(), std::min(end, text.size())};
}

constexpr std::u16string_view PartFrom(std::u16string_view text, std::size_t start) {
  start = std::min(start, text.size());
  return {text.data() + start, text.size() - start};
}

// Copies what of the text fits with a terminator behind it.
template <std::size_t kSize>
void Assign(std::array<char16_t, kSize>& to, std::u16string_view text) {
  *std::ranges::copy(PartBefore(text, kSize - 1), to.begin()).out = 0;
}

// Whether a terminated text is this one. Ends at the first difference, where
// measuring the stored text first would read all of it.
inline bool Holds(std::span<const char16_t> stored, std::u16string_view text) {
  return text.size() < stored.size() && std::u16string_view(stored.data(), text.size()) == text &&
         stored[text.size()] == 0;
}

}  // namespace testlib
