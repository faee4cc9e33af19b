// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/parameter_file.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

namespace testlib {
namespace {

struct Read {
  bool good;
  std::uint32_t line;
  std::u16string error;
  std::unique_ptr<ParameterStore> store = std::make_unique<ParameterStore>();

  std::u16string Value(const char16_t* name) const {
    const Parameter* const parameter = Find(*store, name);
    return parameter == nullptr ? u"(none)" : parameter->value.data();
  }
};

Read ReadContent(const std::string& content) {
  // The exact bytes on the heap: the sanitizer sees a read beyond them.
  const std::vector<std::uint8_t> bytes(content.begin(), content.end());
  Read read{};
  ErrorText error{};
  read.good = ReadParameterFile(bytes, 0, *read.store, &read.line, error);
  read.error = error.data();
  return read;
}

std::string Ucs2(std::u16string text, bool little) {
  text.insert(text.begin(), 0xFEFF);
  std::string bytes;
  for (const char16_t c : text) {
    bytes += static_cast<char>(little ? c & 0xFF : c >> 8);
    bytes += static_cast<char>(little ? c >> 8 : c & 0xFF);
  }
  return bytes;
}

TEST(ParameterFile, GoodFilesGiveTheirValues) {
  const struct {
    std::string content;
    std::u16string a;
    std::u16string b;
  } cases[] = {
      {"", u"(none)", u"(none)"},
      {"A=1\nB=2\n", u"1", u"2"},
      {"A=1\r\nB=2\r\n", u"1", u"2"},
      {"A=1\rB=2", u"1", u"2"},
      {"\n\r\n# x\n  # y = z\n\tA\t=  one two \t\nB= x # tail\n", u"one two", u"x"},
      {"A = \"  x \"\nB = \"\"  # empty", u"  x ", u""},
      {"A = a#b\nB = \"a # b\"", u"a#b", u"a # b"},
      {"A = x\"y\nB = C=D", u"x\"y", u"C=D"},
      {"\xEF\xBB\xBF"
       "A = M\xC3\xBCller\nB = \xE2\x82\xAC",
       u"Müller", u"€"},
      {Ucs2(u"A = Müller\r\nB = \"€ \"\r\n", true), u"Müller", u"€ "},
      {Ucs2(u"A = Müller\rB = €", false), u"Müller", u"€"},
      {"A = \xC2\x80\nB = \xE0\xA0\x80", u"\u0080", u"\u0800"},
      {"A = " + std::string(kValueCharacters, 'x'), std::u16string(kValueCharacters, u'x'), u"(none)"},
      {"#" + std::string(kLineCharacters - 1, 'x') + "\nA=1", u"1", u"(none)"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.content);
    const Read read = ReadContent(c.content);
    EXPECT_TRUE(read.good) << testing::PrintToString(read.error);
    EXPECT_EQ(read.Value(u"A"), c.a);
    EXPECT_EQ(read.Value(u"B"), c.b);
  }
}

TEST(ParameterFile, BadFilesNameTheLineAndWhatWasExpected) {
  const struct {
    std::string content;
    std::uint32_t line;
    std::u16string error;
  } cases[] = {
      {"A=1\r\n\r\nB 2", 3, u"expected NAME = VALUE"},
      {"# \r\rx", 3, u"expected NAME = VALUE"},
      {"=1", 1, u"letters, digits and underscores"},
      {"A B=1", 1, u"letters, digits and underscores"},
      {"A-B=1", 1, u"letters, digits and underscores"},
      {"A=", 1, u"an empty one is written \"\""},
      {"A= # nothing", 1, u"an empty one is written \"\""},
      {"A=\"x", 1, u"closing quotation mark"},
      {"A=\"x\" y", 1, u"nothing but a comment"},
      {"A=1\nB=1\nA=1\n", 3, u"A is given a second time"},
      {"A=1\nB=\x80", 2, u"expected UTF-8"},
      {"A=\xC3", 1, u"expected UTF-8"},
      {"A=\xC3(", 1, u"expected UTF-8"},
      {"A=\xC0\xAF", 1, u"expected UTF-8"},
      {"A=\xE0\x80\xAF", 1, u"expected UTF-8"},
      {"A=\xED\xA0\x80", 1, u"surrogate"},
      {"A=\xED\xBF\xBF", 1, u"surrogate"},
      {"A=\xF0\x9F\x98\x80", 1, u"above U+FFFF"},
      {std::string("A\0=\0", 4), 1, u"byte-order mark"},
      {"A=\x1B[2J", 1, u"control character"},
      {Ucs2(u"A=1\nB", true) + "\n", 2, u"ends within"},
      {std::string(kNameCharacters + 1, 'N') + "=1", 1, u"name is longer than 63"},
      {"A=" + std::string(kValueCharacters + 1, 'x'), 1, u"value is longer than 255"},
      {"\n#" + std::string(kLineCharacters, 'x'), 2, u"at most 1023"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.content);
    const Read read = ReadContent(c.content);
    EXPECT_FALSE(read.good);
    EXPECT_EQ(read.line, c.line);
    EXPECT_NE(read.error.find(c.error), read.error.npos) << testing::PrintToString(read.error);
  }
}

TEST(ParameterFile, StoreTakesItsLimitAndNoMore) {
  std::string content;
  for (std::size_t i = 0; i < kParameters; ++i) content += "N" + std::to_string(i) + "=1\n";
  EXPECT_TRUE(ReadContent(content).good);
  EXPECT_TRUE(ReadContent(std::string(kNameCharacters, 'N') + "=1").good);
  const Read read = ReadContent(content + "Last=1\n");
  EXPECT_FALSE(read.good);
  EXPECT_EQ(read.line, kParameters + 1);
  EXPECT_NE(read.error.find(u"more than 512"), read.error.npos);
}

// Whatever a file holds, it is read within its bytes and every value it gives
// was there to be found again.
TEST(ParameterFile, DamagedFilesDoNoHarm) {
  const std::string good[] = {"A = 1 # x\r\nBcd = \" M\xC3\xBCller \xE2\x82\xAC\"\n",
                              Ucs2(u"A = 1 # x\r\nBcd = \" Müller €\"\n", true)};
  std::minstd_rand random(1);
  for (int round = 0; round < 4000; ++round) {
    std::string content = good[random() % 2];
    for (auto changes = random() % 4; changes > 0; --changes)
      content[random() % content.size()] = static_cast<char>(random());
    content.resize(random() % (content.size() + 1));
    const Read read = ReadContent(content);
    for (const Parameter& parameter : read.store->All())
      EXPECT_EQ(Find(*read.store, parameter.name.data()), &parameter);
    EXPECT_EQ(read.error.empty(), read.good);
  }
}

}  // namespace
}  // namespace testlib
