// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/asking.h"

#include <gtest/gtest.h>

#include "simulation/text.h"

namespace testlib {
namespace {

TEST(Asking, ComparesTheWholeAnswerWithThePattern) {
  const struct {
    std::u16string text, pattern;
    bool fits;
  } cases[] = {
      {u"SN-12", u"", true},         {u"SN-12", u"SN-[0-9]*", true},
      {u"SN-", u"SN-[0-9]*", false}, {u"xSN-1", u"SN-[0-9]*", false},
      {u"SN-1", u"SN-?", true},      {u"SN-12", u"SN-?", false},
      {u"SN-", u"SN-*", true},       {u"a.b.c", u"*.c", true},
      {u"a.b.c", u"*.b", false},     {u"aab", u"*a?", true},
      {u"sn", u"SN", false},         {u"b", u"[a-c]", true},
      {u"-", u"[a-]", true},         {u"d", u"[a-c05]", false},
      {u"5", u"[a-c05]", true},      {u"", u"?", false},
      {u"ab", u"[a-c][a-c]*", true}, {u"a", u"a*b", false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(FitsPattern(c.text, c.pattern), c.fits) << simulation::Readable(c.text + u" " + c.pattern);
  }
}

}  // namespace
}  // namespace testlib
