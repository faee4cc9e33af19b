// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/parameters.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace testlib {
namespace {

TEST(ParseNumber, TakesDecimalAndHexadecimalOf32Bits) {
  const struct {
    std::u16string_view text;
    bool good;
    std::uint32_t number;
  } cases[] = {
      {u"0", true, 0},
      {u"007", true, 7},
      {u"4294967295", true, 0xFFFFFFFF},
      {u"0xFFFFFFFF", true, 0xFFFFFFFF},
      {u"0X1f", true, 0x1F},
      {u"0x00000000001", true, 1},
      {u"4294967296", false, 0},
      {u"0x100000000", false, 0},
      {u"99999999999999999999999999", false, 0},
      {u"", false, 0},
      {u"0x", false, 0},
      {u"1f", false, 0},
      {u"0xg", false, 0},
      {u"-1", false, 0},
      {u"+1", false, 0},
      {u" 1", false, 0},
      {u"1 ", false, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::u16string(c.text)));
    std::uint32_t number = 0;
    EXPECT_EQ(ParseNumber(c.text, &number), c.good);
    EXPECT_EQ(number, c.number);
  }
}

TEST(Parameters, LaterSourceWinsAndOneSourceGivesANameOnce) {
  const auto store = std::make_unique<ParameterStore>();
  ErrorText error{};
  EXPECT_TRUE(Define(*store, u"A", u"file 0", {0, 3}, error));
  EXPECT_TRUE(Define(*store, u"a", u"another name", {0, 4}, error));
  EXPECT_TRUE(Define(*store, u"A", u"file 1", {1, 7}, error));
  EXPECT_FALSE(Define(*store, u"A", u"file 1 again", {1, 8}, error));
  EXPECT_TRUE(Define(*store, u"A", u"typed", {}, error));
  const Parameter* const parameter = Find(*store, u"A");
  ASSERT_NE(parameter, nullptr);
  EXPECT_EQ(std::u16string(parameter->value.data()), u"typed");
  EXPECT_EQ(parameter->origin.source, Origin::kCommandLine);
  EXPECT_EQ(std::u16string(Find(*store, u"a")->value.data()), u"another name");
  EXPECT_EQ(Find(*store, u"B"), nullptr);
}

TEST(Parameters, ValueIsCountedInBytesWithItsTerminator) {
  Parameter parameter{};
  parameter.value = {u'a', u'b', u'c', 0};
  std::array<char16_t, 4> value;
  value.fill(u'#');
  for (const std::size_t bytes : {0, 1, 6, 7}) {
    EXPECT_EQ(CopyValue(parameter, value.data(), bytes), kTestLibraryBufferTooSmall);
    EXPECT_EQ(value[0], u'#');
  }
  EXPECT_EQ(CopyValue(parameter, value.data(), 8), kTestLibrarySuccess);
  EXPECT_EQ(std::u16string(value.data()), u"abc");
}

}  // namespace
}  // namespace testlib
