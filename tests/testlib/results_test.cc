#include "testlib/results.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "module/catalogue.h"
#include "testlib/required_results.h"
#include "testlib/tests.h"

namespace testlib {
namespace {

TEST(Verdict, OnlyARunWithoutErrorsPasses) {
  const struct {
    Stage stage;
    std::uint32_t errors;
    std::uint32_t station_errors;
    const char16_t* verdict;
  } cases[] = {
      {Stage::kRunning, 0, 0, u"PASS"},      {Stage::kRunning, 1, 0, u"FAIL"},
      {Stage::kRunning, 2, 1, u"FAIL"},      {Stage::kRunning, 2, 2, u"ERROR"},
      {Stage::kRefused, 1, 0, u"ERROR"},     {Stage::kRefused, 0, 0, u"ERROR"},
      {Stage::kDoesNotApply, 0, 0, u"SKIP"}, {Stage::kMustApply, 1, 0, u"FAIL"},
      {Stage::kNothingToRun, 0, 0, u""},     {Stage::kIdle, 0, 0, u""},
  };
  for (const auto& c : cases) {
    testlib::Run run{};
    run.stage = c.stage;
    run.errors = c.errors;
    run.station_errors = c.station_errors;
    EXPECT_EQ(std::u16string(VerdictText(Judge(run))), c.verdict);
  }
}

TEST(Results, LastValueOfAKeyCounts) {
  const auto store = std::make_unique<ResultStore>();
  EXPECT_TRUE(Publish(*store, u"System_Product", u"old", 0));
  EXPECT_TRUE(Publish(*store, u"display.cfg:System product", u"Box", 0));
  EXPECT_TRUE(Publish(*store, u"System_Product", u"new", 1));
  ASSERT_EQ(store->count, 2u);
  EXPECT_EQ(std::u16string(store->results[0].value.data()), u"new");
  EXPECT_EQ(store->results[0].run, 1u);
  EXPECT_EQ(DisplayLabel(store->results[0]), nullptr);
  EXPECT_EQ(std::u16string(DisplayLabel(store->results[1])), u"System product");
}

TEST(Results, LongTextIsCutAndAFullStoreRefuses) {
  const auto store = std::make_unique<ResultStore>();
  const std::u16string long_text(1000, u'x');
  EXPECT_TRUE(Publish(*store, long_text, long_text, 0));
  EXPECT_TRUE(Publish(*store, long_text, u"same key", 0));
  EXPECT_EQ(store->count, 1u);
  EXPECT_EQ(std::u16string(store->results[0].key.data()).size(), 255u);
  for (char16_t i = 1; i < ResultStore::kResults; ++i) EXPECT_TRUE(Publish(*store, std::u16string(1, i), u"", 0));
  EXPECT_FALSE(Publish(*store, u"one more", u"", 0));
}

TEST(RequiredResults, FailALineThatPassed) {
  const auto store = std::make_unique<ResultStore>();
  const auto parameters = std::make_unique<ParameterStore>();
  ErrorText error;
  Define(*parameters, u"Required_Results", u" display.cfg:Supply 1, UUID ,", {}, error);
  Define(*parameters, u"Required_Results_2", u"Type", {}, error);
  Define(*parameters, u"Required_Tests", u"1", {}, error);
  EXPECT_TRUE(RequireResults(*parameters, *store));
  EXPECT_TRUE(RequireResults(*parameters, *store));
  EXPECT_EQ(store->count, 3u);
  Tally passed{};
  passed.runs[static_cast<std::size_t>(Verdict::kPass)] = 1;
  Publish(*store, u"UUID", u"x", 0);
  Publish(*store, u"Type", u"1", 0);
  EXPECT_EQ(JudgeLine(passed, *store), Verdict::kFail);
  EXPECT_EQ(JudgeLine({}, *store), Verdict::kError);
  Publish(*store, u"display.cfg:Supply 1", u"", 0);
  EXPECT_EQ(JudgeLine(passed, *store), Verdict::kFail);
  Publish(*store, u"display.cfg:Supply 1", u"y", 0);
  EXPECT_EQ(JudgeLine(passed, *store), Verdict::kPass);
}

TEST(RemovedTests, AreFoundAndBounded) {
  RemovedTests removed{};
  EXPECT_TRUE(RemoveTest(removed, 14, 0, u"\r\n Autosense():: 100%s.\n\tRemoving\r\n"));
  EXPECT_TRUE(RemoveTest(removed, 15, 0, std::u16string(1000, u'x')));
  EXPECT_FALSE(RemoveTest(removed, 64, 0, u""));
  EXPECT_FALSE(RemoveTest(removed, UINT64_MAX, 0, u""));
  ASSERT_NE(FindRemoval(removed, 14), nullptr);
  EXPECT_EQ(std::u16string(FindRemoval(removed, 14)->reason.data()), u"Autosense():: 100%s. Removing");
  EXPECT_EQ(FindRemoval(removed, 15)->reason.back(), 0);
  EXPECT_EQ(FindRemoval(removed, 13), nullptr);
  EXPECT_EQ(FindRemoval(removed, 0xFFFFFFFF), nullptr);
}

TEST(RunHistory, CountsOnWhenItIsFull) {
  const auto history = std::make_unique<RunHistory>();
  for (unsigned i = 0; i < RunHistory::kRuns + 1; ++i) Remember(*history, {});
  EXPECT_EQ(history->count, RunHistory::kRuns + 1);
  EXPECT_EQ(history->Kept().size(), RunHistory::kRuns);
}

TEST(RunHistory, ALineRunCountsFromTheLastAutosense) {
  const auto history = std::make_unique<RunHistory>();
  const auto remember = [&](std::uint32_t test, bool has_test, Verdict verdict) {
    testlib::Run run{};
    run.test = test;
    run.has_test = has_test;
    run.verdict = verdict;
    Remember(*history, run);
    return Judge(history->line);
  };
  EXPECT_EQ(Judge(history->line), Verdict::kError);
  EXPECT_EQ(remember(13, true, Verdict::kSkip), Verdict::kError);
  EXPECT_EQ(remember(1, true, Verdict::kPass), Verdict::kPass);
  EXPECT_EQ(remember(0, false, Verdict::kError), Verdict::kError);
  EXPECT_EQ(history->line_start, 0u);
  EXPECT_EQ(remember(0, true, Verdict::kPass), Verdict::kPass);
  EXPECT_EQ(history->line_start, 3u);
  EXPECT_EQ(remember(13, true, Verdict::kSkip), Verdict::kPass);
  EXPECT_EQ(remember(2, true, Verdict::kError), Verdict::kError);
  EXPECT_EQ(remember(2, true, Verdict::kFail), Verdict::kFail);
  EXPECT_EQ(history->line.Of(Verdict::kPass), 1u);
  EXPECT_EQ(remember(0, true, Verdict::kError), Verdict::kError);
}

TEST(Tests, EveryTestOfTheModuleHasARow) {
  const auto catalogue = mfgtest::Catalogue();
  const auto tests = Tests();
  ASSERT_EQ(tests.size(), catalogue.size());
  for (std::size_t i = 0; i < tests.size(); ++i) EXPECT_EQ(tests[i].number, catalogue[i].number);
}

}  // namespace
}  // namespace testlib
