// Parts of a text, cut to what is there. The standard library's substr throws,
// and an image has nothing to throw with.
#pragma once

#include <algorithm>
#include <string_view>

namespace testlib {

constexpr std::u16string_view PartBefore(std::u16string_view text, std::size_t end) {
  return {text.data(), std::min(end, text.size())};
}

constexpr std::u16string_view PartFrom(std::u16string_view text, std::size_t start) {
  start = std::min(start, text.size());
  return {text.data() + start, text.size() - start};
}

}  // namespace testlib
