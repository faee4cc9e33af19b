#include "testlib/shell_command.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace testlib {
namespace {

TEST(SetCommand, IsRecognised) {
  const struct {
    const char16_t* text;
    const char16_t* name;
    const char16_t* value;
    bool is_volatile;
  } cases[] = {
      {u"set \"MFG\" \"A B\"", u"MFG", u"A B", false},
      {u"set MFG value", u"MFG", u"value", false},
      {u"  SET\tMFG   value  ", u"MFG", u"value", false},
      {u"set -v MFG \"x\"", u"MFG", u"x", true},
      {u"set -d \"MFG\"", u"MFG", u"", false},
      {u"set -d MFG", u"MFG", u"", false},
  };
  const auto command = std::make_unique<SetCommand>();
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::u16string(c.text)));
    ASSERT_TRUE(ReadSetCommand(c.text, command.get()));
    EXPECT_EQ(std::u16string(command->name.data()), c.name);
    EXPECT_EQ(std::u16string(command->value.data()), c.value);
    EXPECT_EQ(command->is_volatile, c.is_volatile);
  }
}

TEST(SetCommand, EverythingElseIsNot) {
  const std::u16string too_long = u"set \"" + std::u16string(kShellTextCharacters, u'x') + u"\" \"y\"";
  const std::u16string longer = std::u16string(600, u'x') + u" A B";
  const char16_t* const cases[] = {
      u"",
      u"ls",
      u"set",
      u"set MFG",
      u"set -d",
      u"set -v",
      u"set -d \"\"",
      u"setup A B",
      u"set A B C",
      u"set -d A B",
      u"set \"A\" \"",
      u"set \"A\" \"B",
      u"set -v A",
      u"set \"A\" \"\"",
      u"se t A B",
      u"sat A B",
      u"set -v \"A",
      u"echo set \"A\" \"B\"",
      too_long.c_str(),
      longer.c_str(),
  };
  const auto command = std::make_unique<SetCommand>();
  for (const char16_t* const text : cases) {
    EXPECT_FALSE(ReadSetCommand(text, command.get())) << testing::PrintToString(std::u16string(text));
  }
}

}  // namespace
}  // namespace testlib
