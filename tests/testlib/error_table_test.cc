#include "testlib/error_table.h"

#include <regex>

#include "simulation/text.h"
#include "tests/testlib/guide.h"

namespace testlib {
namespace {

using simulation::Readable;

TEST(ErrorTable, TellsUnitFromStation) {
  const struct {
    std::uint64_t code;
    const char16_t* format;
    const char16_t* name;
    Blame blame;
  } cases[] = {
      {0, u"Invalid test number: %d\n", u"invalid-test-number", Blame::kStation},
      {1, u"\nFailed to get param:%s\n", u"parameter-unreadable", Blame::kStation},
      {1, u"\r\n%s NV Variable not found.\r\n", u"nv-variable-missing", Blame::kUnit},
      {20, u"\nFailed to Set %s NV Variable.\n%s", u"variable-not-set", Blame::kUnit},
      {23, u"IPMI command - Get FRU Data Area Info failed.\r\n", u"ipmi-fru-unavailable", Blame::kUnit},
      {23, u"Failed to locate IPMI protocol. Make sure IPMI.EFI is loaded.\n", u"ipmi-transport-missing",
       Blame::kStation},
  };
  for (const auto& c : cases) {
    const ErrorRow* const row = FindError(c.code, c.format);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(std::u16string(row->name), c.name);
    EXPECT_EQ(row->blame, c.blame);
  }
  EXPECT_EQ(FindError(49, u""), nullptr);
  EXPECT_EQ(FindError(UINT64_MAX, u""), nullptr);
}

TEST(ErrorTable, HasEveryCodeOfTheModule) {
  std::ifstream file(TESTS_FOLDER "/../module/error_codes.h");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const std::regex number(" = ([0-9]+),");
  unsigned count = 0;
  for (std::sregex_iterator at(text.begin(), text.end(), number), end; at != end; ++at, ++count) {
    EXPECT_NE(FindError(std::stoul((*at)[1]), u""), nullptr)
        << "testlib/error_table.cc has no row for code " << (*at)[1];
  }
  EXPECT_GT(count, 20u);
}

TEST(ErrorTable, StandsInTheGuideAndFitsTheConsole) {
  for (const ErrorRow& row : ErrorTable()) {
    const std::string format = row.format == nullptr ? "" : ", \"" + Readable(row.format) + "\"";
    ExpectInGuide("| " + std::to_string(row.code) + format + " | " + Readable(row.name) + " | " +
                  (row.blame == Blame::kUnit ? "unit" : "station") + " | " + Readable(row.advice) + " |");
    EXPECT_LE(std::u16string_view(row.advice).size(), 74u) << Readable(row.name);
  }
}

}  // namespace
}  // namespace testlib
