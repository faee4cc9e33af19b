// The bytes of one fuzz input, taken from the front. Behind their end there are
// zeros, so every input is complete.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace fuzz {

using Bytes = std::vector<std::uint8_t>;

class Input {
 public:
  explicit Input(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

  bool Empty() const { return rest_.empty(); }

  std::uint8_t Byte() {
    if (rest_.empty()) return 0;
    const std::uint8_t byte = rest_.front();
    rest_ = rest_.subspan(1);
    return byte;
  }

  std::uint16_t Word() {
    const std::uint8_t low = Byte();
    return static_cast<std::uint16_t>(low | Byte() << 8);
  }

  std::size_t Below(std::size_t limit) { return Byte() % limit; }

  // No more than there are.
  Bytes Take(std::size_t count) {
    const auto taken = rest_.first(std::min(count, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return {taken.begin(), taken.end()};
  }

  Bytes Rest() { return Take(rest_.size()); }

 private:
  std::span<const std::uint8_t> rest_;
};

// Words up to an empty one, a line each.
inline void TakeWords(Input& input, std::vector<std::u16string>& words) {
  while (!input.Empty()) {
    std::u16string word;
    for (std::uint8_t c = input.Byte(); c >= u' '; c = input.Byte())
      word += static_cast<char16_t>(c < 0x7F ? c : c * 0x33);
    if (word.empty()) return;
    words.push_back(word);
  }
}

// Changes what a device holds, with all the rest of the input: again and again
// a place (2 bytes), a number of bytes (1) and the bytes. A number of 0 ends the
// content at the place.
inline void Edit(Input& input, Bytes& content) {
  while (!input.Empty() && !content.empty()) {
    const std::size_t place = input.Word() % content.size();
    const Bytes bytes = input.Take(input.Byte());
    if (bytes.empty()) content.resize(place);
    std::copy_n(bytes.begin(), std::min(bytes.size(), content.size() - place),
                content.begin() + static_cast<std::ptrdiff_t>(place));
  }
}

}  // namespace fuzz
