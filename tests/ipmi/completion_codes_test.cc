// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/completion_codes.h"

#include <gtest/gtest.h>

#include <set>
#include <string_view>

namespace {

constexpr const char16_t* kUnspecified = u"Unspecified Error";

TEST(CompletionCodes, HaveTheirTexts) {
  const struct {
    std::uint8_t code;
    std::uint8_t net_function;
    std::uint8_t command;
    const char16_t* text;
  } cases[] = {
      // Of every command.
      {0xC0, 0x0A, 0x11, u"Node Busy"},
      {0xC3, 0x06, 0x33, u"Timeout. Response Unavailable"},
      {0xCB, 0x0A, 0x40, u"Requested Sensor/Data/Record Not Present"},
      {0xD5, 0x2C, 0x99, u"Command/Request Parameter Not Supported"},
      {0xFF, 0x08, 0x01, kUnspecified},
      {0xD6, 0x0A, 0x11, kUnspecified},
      {0x85, 0x0A, 0x11, kUnspecified},
      {0x00, 0x0A, 0x11, kUnspecified},
      {0x00, 0x08, 0x01, kUnspecified},
      // Of some.
      {0x81, 0x04, 0x12, u"Another Party Has Already Claimed the Parameter"},
      {0x83, 0x04, 0x13, u"Attempt to Read Write-Only Parameter"},
      {0x80, 0x04, 0x11, kUnspecified},
      {0x81, 0x0A, 0x40, u"SEL Erase In Progress"},
      {0x81, 0x0A, 0x47, u"SEL Erase In Progress"},
      {0x81, 0x0A, 0x3F, kUnspecified},
      {0x81, 0x0A, 0x48, kUnspecified},
      {0x84, 0x06, 0x52, u"Truncated Read"},
      {0x80, 0x06, 0x52, kUnspecified},
      {0x80, 0x06, 0x34, u"Invalid Session Handle"},
      {0x81, 0x06, 0x34, u"Lost Arbitration"},
      {0x84, 0x06, 0x34, kUnspecified},
      {0x80, 0x06, 0x33, u"data not available - queue/buffer empty"},
      {0x81, 0x0C, 0x01,
       u"Attempt to set the ‘set in progress’ value (in parameter #0) when not in the ‘set complete’ state"},
      // Three lists that go on into one another.
      {0x81, 0x08, 0x01, u"Address not in flash"},
      {0x82, 0x08, 0x02, u"Set not supported on selected channel"},
      {0x80, 0x08, 0x02, u"Password test failed. Password size correct but password data does not match stored value"},
      {0x83, 0x06, 0x40, u"Access mode not supported"},
      {0x81, 0x06, 0x40, u"Password test failed. Wrong password size was used"},
      {0x81, 0x06, 0x47, u"Password test failed. Wrong password size was used"},
      {0x82, 0x06, 0x47, kUnspecified},
      {0x84, 0x08, 0x01, kUnspecified},
      // And not of their neighbours.
      {0x81, 0x04, 0x14, kUnspecified},
      {0x84, 0x06, 0x53, kUnspecified},
      {0x81, 0x06, 0x35, kUnspecified},
      {0x80, 0x06, 0x32, kUnspecified},
      {0x80, 0x0C, 0x00, kUnspecified},
      {0x80, 0x0C, 0x02, kUnspecified},
      {0x81, 0x08, 0x00, kUnspecified},
      {0x81, 0x08, 0x03, kUnspecified},
      {0x83, 0x06, 0x41, kUnspecified},
      {0x81, 0x06, 0x48, kUnspecified},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(std::u16string_view(mfgtest::GetCompletionCodeText(c.code, c.net_function, c.command)), c.text)
        << std::hex << +c.code << " of " << +c.net_function << "/" << +c.command;
  }
  // The standard's own codes, each with a text of its own.
  std::set<std::u16string_view> texts{kUnspecified};
  for (std::uint8_t code = 0xC0; code <= 0xD5; ++code) {
    EXPECT_TRUE(texts.insert(mfgtest::GetCompletionCodeText(code, 0x0A, 0x11)).second) << std::hex << +code;
  }
}

}  // namespace
