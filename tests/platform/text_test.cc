// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

// Letters whose case matters, their neighbours, blanks, and letters beyond
// ASCII that must stay as they are.
constexpr char16_t kAlphabet[] = u"aAbBzZ@[`{ \t0\u00E9\u00C9\u0130\uFF41";

struct RandomText {
  std::u16string Next() {
    std::u16string text(std::uniform_int_distribution<std::size_t>(0, 8)(generator), u'\0');
    for (char16_t& c : text) c = kAlphabet[std::uniform_int_distribution<std::size_t>(0, 16)(generator)];
    return text;
  }
  std::mt19937 generator{20260101};
};

// Exactly as much memory as the text needs, so that the sanitizer sees a step
// beyond it.
std::vector<char16_t> Exactly(const std::u16string& text) { return {text.c_str(), text.c_str() + text.size() + 1}; }

std::u16string UpperCased(std::u16string text) {
  for (char16_t& c : text) {
    if (c < 128) c = static_cast<char16_t>(std::toupper(c));
  }
  return text;
}

TEST(Text, ToUpperAsciiChangesTheTwentySixLettersOnly) {
  for (unsigned c = 0; c < 0x10000; ++c) {
    const unsigned expected = c < 128 ? static_cast<unsigned>(std::toupper(static_cast<int>(c))) : c;
    ASSERT_EQ(platform::ToUpperAscii(static_cast<char16_t>(c)), expected);
  }
}

TEST(Text, CopyCharsMatchesItsContract) {
  RandomText random;
  for (int i = 0; i < 5000; ++i) {
    const std::u16string source = random.Next();
    const std::size_t count = random.Next().size();
    std::vector<char16_t> destination(count + 1, u'#');
    ASSERT_EQ(platform::CopyChars(destination.data(), Exactly(source).data(), count), destination.data());

    // A short source leaves two terminators and the rest alone.
    std::u16string expected(source.substr(0, count));
    expected += u'\0';
    if (source.size() < count) expected += u'\0';
    expected.resize(count + 1, u'#');
    ASSERT_EQ(std::u16string(destination.begin(), destination.end()), expected);
  }
}

TEST(Text, StriCmpAsciiGivesTheFirstDifference) {
  RandomText random;
  for (int i = 0; i < 20000; ++i) {
    const std::u16string a = random.Next();
    const std::u16string b = i % 3 == 0 ? UpperCased(a) : random.Next();
    const std::u16string upper_a = UpperCased(a) + u'\0';
    const std::u16string upper_b = UpperCased(b) + u'\0';
    const auto [x, y] = std::mismatch(upper_a.begin(), upper_a.end(), upper_b.begin(), upper_b.end());
    const int expected = x == upper_a.end() || y == upper_b.end() ? 0 : *x - *y;
    ASSERT_EQ(platform::StriCmpAscii(Exactly(a).data(), Exactly(b).data()), expected);
    ASSERT_EQ(platform::SameText(Exactly(a).data(), Exactly(b).data()), a == b);
  }
}

TEST(Text, TrimTrailingSpacesKeepsTheFirstCharacter) {
  const std::pair<std::u16string, std::u16string> cases[] = {
      {u"", u""},          {u"A", u"A"},      {u" ", u" "},       {u"   ", u" "},           {u"ABC  ", u"ABC"},
      {u" A B ", u" A B"}, {u"A\t ", u"A\t"}, {u"A \t", u"A \t"}, {u"A\u00A0", u"A\u00A0"},
  };
  for (const auto& [given, expected] : cases) {
    std::vector<char16_t> text = Exactly(given);
    platform::TrimTrailingSpaces(text.data());
    EXPECT_EQ(std::u16string(text.data()), expected);
  }
}

}  // namespace
