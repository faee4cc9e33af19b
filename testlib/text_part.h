// Parts of a text, cut to what is there. The standard library's substr throws,
// and an image has nothing to throw with.
#pragma once

#include <algorithm>
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

// Whether a terminated text is this one. Ends at the first difference, where
// measuring the stored text first would read all of it.
inline bool Holds(std::span<const char16_t> stored, std::u16string_view text) {
  return text.size() < stored.size() && std::u16string_view(stored.data(), text.size()) == text &&
         stored[text.size()] == 0;
}

}  // namespace testlib
