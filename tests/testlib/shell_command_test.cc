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
  } cases[] = {
      {u"set \"MFG\" \"A B\"", u"MFG", u"A B"},
      {u"set \"a > b\" \">c;|\"", u"a > b", u">c;|"},
      {u"set -d \"MFG\"", u"MFG", u""},
  };
  const auto command = std::make_unique<SetCommand>();
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::u16string(c.text)));
    ASSERT_TRUE(ReadSetCommand(c.text, command.get()));
    EXPECT_EQ(std::u16string(command->name.data()), c.name);
    EXPECT_EQ(std::u16string(command->value.data()), c.value);
  }
}

TEST(SetCommand, EverythingElseIsNot) {
  const std::u16string too_long = u"set \"" + std::u16string(kShellTextCharacters, u'x') + u"\" \"y\"";
  const char16_t* const cases[] = {
      u"",
      u"ls",
      u"set",
      u"set MFG value",
      u"set -d MFG",
      u"set -v \"MFG\" \"x\"",
      u"SET \"MFG\" \"x\"",
      u" set \"MFG\" \"x\"",
      u"set \"MFG\"",
      u"set \"MFG\" \"\"",
      u"set \"\" \"x\"",
      u"set -d \"\"",
      u"set -d \"A\" \"B\"",
      u"set \"A\" \"B\" \"C\"",
      u"set \"A\" \"B\" > fs0:\\x",
      u"set \"a\" > fs0:\\mfgtest.efi \"\" \"x\"",
      u"set \"A\"  \"B\"",
      u"set \"A\" \"B",
      u"set \"A\nls\" \"B\"",
      u"set \"A\" \"B\u0085\"",
      u"echo set \"A\" \"B\"",
      too_long.c_str(),
  };
  const auto command = std::make_unique<SetCommand>();
  for (const char16_t* const text : cases) {
    EXPECT_FALSE(ReadSetCommand(text, command.get())) << testing::PrintToString(std::u16string(text));
  }
}

}  // namespace
}  // namespace testlib
