// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/transcript.h"

#include <gtest/gtest.h>

#include <string>

namespace testlib {
namespace {

TEST(Transcript, EscapesWhatATerminalOrAQuoteWouldTake) {
  TranscriptLine line;
  WriteLine(line,
            {.operation = Operation::kReportError, .number = UINT64_MAX, .text = u"a\n\r\t\"\\ ~\x1b\x7f€\xFFFF%s"});
  EXPECT_EQ(std::u16string(line.text.data()),
            u"ReportError 18446744073709551615 \"a\\n\\r\\t\\\"\\\\ ~\\u001B\\u007F\\u20AC\\uFFFF%s\"");
  EXPECT_EQ(line.length, std::u16string(line.text.data()).size());
}

TEST(Transcript, StaysWithinItsLine) {
  TranscriptLine line;
  WriteLine(line, {.operation = Operation::kPrompt, .text = std::u16string(5000, u'€').c_str()});
  EXPECT_EQ(line.length, line.text.size() - 1);
  EXPECT_EQ(line.text.back(), 0);
}

}  // namespace
}  // namespace testlib
