// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/transcript.h"

#include <gtest/gtest.h>

#include <string>

namespace testlib {
namespace {

TEST(Transcript, EscapesWhatATerminalOrAQuoteWouldTake) {
  TranscriptLine line;
  AppendPlain(line, u"Prompt ");
  AppendQuoted(line, u"a\n\r\t\"\\ ~\x1b\x7f€\xFFFF%s");
  AppendPlain(line, u" ");
  AppendDecimal(line, UINT64_MAX);
  AppendPlain(line, u" ");
  AppendHexadecimal(line, 0x1F);
  EXPECT_EQ(std::u16string(line.text.data()),
            u"Prompt \"a\\n\\r\\t\\\"\\\\ ~\\u001B\\u007F\\u20AC\\uFFFF%s\" 18446744073709551615 0x1f");
  EXPECT_EQ(line.length, std::u16string(line.text.data()).size());
}

TEST(Transcript, StaysWithinItsLine) {
  TranscriptLine line;
  AppendQuoted(line, std::u16string(5000, u'€').c_str());
  EXPECT_EQ(line.length, line.text.size() - 1);
  EXPECT_EQ(line.text.back(), 0);
}

}  // namespace
}  // namespace testlib
