#include "testlib/command_line.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace testlib {
namespace {

using Arguments = std::vector<const char16_t*>;

struct Taken {
  bool good;
  std::u16string error;
  std::unique_ptr<CommandLine> line = std::make_unique<CommandLine>();
};

Taken Take(Arguments words) {
  words.insert(words.begin(), u"fs0:\\mfgtest.efi");
  Taken taken{};
  ErrorText error{};
  taken.good = ReadCommandLine(words, *taken.line, error);
  taken.error = error.data();
  return taken;
}

std::u16string Joined(const auto& list) {
  std::u16string text;
  for (std::size_t i = 0; i < list.count; ++i) (text += list.words[i]) += u';';
  return text;
}

TEST(CommandLine, AllFormsOfATestRun) {
  const struct {
    Arguments words;
    std::uint32_t test;
    std::u16string definitions;
    std::u16string files;
    std::u16string answers;
    std::uint32_t mask;
    std::uint32_t scale;
    bool trace;
  } cases[] = {
      {{u"1"}, 1, u"", u"", u"", 0, 100, false},
      {{u"0x1A", u"A=1", u"B=x y"}, 26, u"A=1;B=x y;", u"", u"", 0, 100, false},
      {{u"-t", u"5", u"-p", u"A=1", u"-f", u"a.cfg", u"-d", u"3", u"-a", u"s", u"-s", u"0"},
       5,
       u"A=1;",
       u"a.cfg;",
       u"s;",
       3,
       0,
       false},
      {{u"-t5", u"-pA=1", u"-fa.cfg", u"-d0x1f", u"-as", u"-s50"}, 5, u"A=1;", u"a.cfg;", u"s;", 31, 50, false},
      {{u"--test", u"5", u"--param", u"A=1", u"--file", u"a", u"--debug", u"1", u"--answer", u"-x", u"--delay-scale",
        u"7"},
       5,
       u"A=1;",
       u"a;",
       u"-x;",
       1,
       7,
       false},
      {{u"--test=5", u"--param=A=1=2", u"--file=a", u"--file=b", u"--answer=", u"--trace"},
       5,
       u"A=1=2;",
       u"a;b;",
       u";",
       0,
       100,
       true},
      {{u"--", u"5", u"A=1"}, 5, u"A=1;", u"", u"", 0, 100, false},
      {{u"4294967295"}, 0xFFFFFFFF, u"", u"", u"", 0, 100, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::u16string(c.words.front())));
    const Taken taken = Take(c.words);
    ASSERT_TRUE(taken.good) << testing::PrintToString(taken.error);
    EXPECT_EQ(taken.line->action, Action::kRunTest);
    EXPECT_EQ(taken.line->test, c.test);
    EXPECT_EQ(Joined(taken.line->definitions), c.definitions);
    EXPECT_EQ(Joined(taken.line->files), c.files);
    EXPECT_EQ(Joined(taken.line->answers), c.answers);
    EXPECT_EQ(taken.line->debug_mask, c.mask);
    EXPECT_EQ(taken.line->delay_scale, c.scale);
    EXPECT_EQ(taken.line->trace, c.trace);
  }
}

TEST(CommandLine, WhatRunsNothing) {
  const std::pair<const char16_t*, Action> cases[] = {
      {u"-n", Action::kShowParameters}, {u"--show", Action::kShowParameters}, {u"-l", Action::kListTests},
      {u"--list", Action::kListTests},  {u"--summary", Action::kShowSummary}, {u"-h", Action::kShowHelp},
      {u"--help", Action::kShowHelp},
  };
  for (const auto& [word, action] : cases) {
    const Taken taken = Take({word});
    EXPECT_TRUE(taken.good);
    EXPECT_EQ(taken.line->action, action);
  }
}

TEST(CommandLine, FaultsAreNamed) {
  const std::pair<Arguments, std::u16string> cases[] = {
      {{}, u"no test is selected"},
      {{u"A=1"}, u"no test is selected"},
      {{u"--"}, u"no test is selected"},
      {{u"1", u"2"}, u"a second test is given: 2"},
      {{u"1", u"-t", u"1"}, u"a second test is given: 1"},
      {{u"one"}, u"found \"one\""},
      {{u"-"}, u"found \"-\""},
      {{u""}, u"found \"\""},
      {{u"4294967296"}, u"found \"4294967296\""},
      {{u"-t", u"x"}, u"found \"x\""},
      {{u"-t="}, u"found \"=\""},
      {{u"1", u"-t"}, u"-t: this option needs a value"},
      {{u"1", u"--file"}, u"--file: this option needs a value"},
      {{u"1", u"-x"}, u"unknown option -x"},
      {{u"-1"}, u"unknown option -1"},
      {{u"--tes", u"1"}, u"unknown option --tes"},
      {{u"--", u"-t"}, u"found \"-t\""},
      {{u"--trace=1"}, u"takes no value"},
      {{u"-hx"}, u"takes no value"},
      {{u"1", u"-d", u"all"}, u"debug mask, found \"all\""},
      {{u"1", u"-s", u"101"}, u"0 to 100 percent, found \"101\""},
      {{u"1", u"-s", u"5%"}, u"0 to 100 percent, found \"5%\""},
  };
  for (const auto& [words, error] : cases) {
    SCOPED_TRACE(testing::PrintToString(error));
    const Taken taken = Take(words);
    EXPECT_FALSE(taken.good);
    EXPECT_NE(taken.error.find(error), taken.error.npos) << testing::PrintToString(taken.error);
  }
}

TEST(CommandLine, ListsHaveLimits) {
  const struct {
    const char16_t* option;
    std::size_t limit;
  } cases[] = {{u"--file=x", kParameterFiles}, {u"--answer=x", kAnswers}, {u"X=1", kParameters}};
  for (const auto& c : cases) {
    Arguments words(c.limit, c.option);
    words.push_back(u"1");
    EXPECT_TRUE(Take(words).good);
    words.push_back(c.option);
    EXPECT_NE(Take(words).error.find(u"there are more than"), std::u16string::npos);
  }
}

TEST(CommandLine, DefinesItsParameters) {
  const struct {
    Arguments words;
    std::u16string value;
    std::u16string error;
  } cases[] = {
      {{u"1", u"A=x=y "}, u"x=y ", u""},
      {{u"1", u"-p", u"A"}, u"", u"command line: \"A\": expected NAME=VALUE"},
      {{u"1", u"A="}, u"", u"command line: \"A=\": the value is empty"},
      {{u"1", u"=x"}, u"", u"letters, digits and underscores"},
      {{u"1", u"A=x", u"A=x"}, u"x", u"A is given a second time"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.error));
    const Taken taken = Take(c.words);
    const auto store = std::make_unique<ParameterStore>();
    ErrorText error{};
    EXPECT_EQ(DefineFromCommandLine(*taken.line, *store, error), c.error.empty());
    EXPECT_NE(std::u16string(error.data()).find(c.error), std::u16string::npos);
    const Parameter* const parameter = Find(*store, u"A");
    EXPECT_EQ(parameter == nullptr ? u"" : std::u16string(parameter->value.data()), c.value);
  }
}

}  // namespace
}  // namespace testlib
