// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/required_tests.h"

#include <gtest/gtest.h>

#include <string>

namespace testlib {
namespace {

TEST(RequiredTests, AreNumbersAndRanges) {
  const struct {
    std::u16string list;
    bool good;
    bool has_4;
  } cases[] = {
      {u"", true, false},
      {u"4", true, true},
      {u" 1-3, 5-13 ", true, false},
      {u"1 2\t3-5,40", true, true},
      {u"4-4", true, true},
      {u"0x4", true, true},
      {u"14 34", true, false},
      {u"4 5-", false, false},
      {u"-4", false, false},
      {u"13-1", false, false},
      {u"1 - 13", false, false},
      {u"4;5", false, false},
      {u"all", false, false},
      {u"4294967296", false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.list));
    bool found = false;
    ErrorText error{};
    EXPECT_EQ(FindInTestList(c.list, 4, &found, error), c.good);
    EXPECT_EQ(error[0] == 0, c.good);
    if (c.good) {
      EXPECT_EQ(found, c.has_4);
    }
  }
}

}  // namespace
}  // namespace testlib
