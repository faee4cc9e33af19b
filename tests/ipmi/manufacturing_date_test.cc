// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/manufacturing_date.h"

#include "tests/ipmi/server.h"

namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;
using std::chrono::year_month_day_last;
using namespace std::chrono_literals;

constexpr char kReadFailed[] = R"(ReportError 23 "IPMI command - Get FRU Data Area Info failed.\r\n")";

// Until 2100, whose 29th of February exists only by the rule of four years.
TEST(ManufacturingDate, MinutesAreThoseOfTheCalendar) {
  Server server;
  server.Bind();
  // The first and the last day of each month.
  for (year_month_day date = 1996y / 1 / 1; date < 2100y / 3 / 1; date = sys_days(date) + days(1)) {
    const year_month_day_last last = date.year() / date.month() / std::chrono::last;
    if (date.day() != 1d && date.day() != last.day()) continue;
    const auto year = static_cast<unsigned>(static_cast<int>(date.year()));
    const auto month = static_cast<unsigned>(date.month());
    ASSERT_EQ(mfgtest::DateToFruMinutes(year, month, static_cast<unsigned>(date.day())), simulation::FruMinutes(date))
        << year << "/" << month;
    server.station.library->calls.clear();
  }
  EXPECT_EQ(mfgtest::DateToFruMinutes(2000, 3, 1), 0x216BA0u);
  EXPECT_EQ(mfgtest::DateToFruMinutes(2009, 6, 15), 0x6BF940u);
  EXPECT_EQ(mfgtest::DateToFruMinutes(2100, 3, 1), simulation::FruMinutes(2100y / 3 / 2));
  for (const std::uint32_t month : {0, 13}) EXPECT_EQ(mfgtest::DaysBeforeMonth(month, false), 0);
  EXPECT_EQ(Errors(server.station.Transcript()), Lines(2, R"(ReportError 24 "Invalid Month.\n")"));
}

Parameters BoardParameters(const char16_t* device, const char16_t* route) {
  return {{u"SYS_BD_MFG_DATE", u"2009/06/01"}, {u"SYS_BD_FRU_ID", device}, {u"HSBP", route}};
}

TEST(ManufacturingDate, TheBoardIsChosenByParameters) {
  const Parameters kFrontPanel = BoardParameters(u"4", u"0");
  Parameters far = kFrontPanel;
  far[u"BOARD_AREA_OFFSET"] = u"0x203";
  const std::string judged = R"(ReportError 25 "\r\nMfg Date & Time )";
  const std::string unprogrammed = judged + R"(is not programmed. Received: 0x0\r\n")";
  const Lines kReads = {"04 03 00 01", "04 03 00 01", "04 0B 00 03"};
  const Lines kReadsOfZero = {"00 03 00 01", "00 03 00 01", "00 0B 00 03"};
  const struct {
    const char* machine;
    Parameters parameters;
    Lines errors;
    // What is read of the FRU, by the requests' data behind the command.
    Lines reads;
  } cases[] = {
      {"", kFrontPanel, {}, kReads},
      {"", BoardParameters(u"4", u"1"), {}, kReadsOfZero},
      {"", BoardParameters(u"4", u"2"), {}, kReadsOfZero},
      {"", BoardParameters(u"4", u"3"), {kReadFailed, kReadFailed, kReadFailed, unprogrammed}, {}},
      // The date's offset wraps, the header byte's own offset does not.
      {"[fru 4]\nboard date = 2009-06-01\nbyte 3 = 0x21", kFrontPanel, {}, kReads},
      {"[fru 4]\nsize = 1024\nbyte 0x203 = 1\nboard date = 2009-06-01",
       far,
       {},
       {"04 03 02 01", "04 03 02 01", "04 0B 00 03"}},
      {"[fru 4]\nboard date = 2009-05-31",
       kFrontPanel,
       {judged + R"(test failed. Expected: > 0x6baa80 Received: 0x6ba4e0.\r\n")"},
       kReads},
      {"[fru 4]\nboard minutes = 0", kFrontPanel, {unprogrammed}, kReads},
      {"[fru 4]\nboard minutes = 0xFFFFFF", kFrontPanel, {}, kReads},
      // A busy device is asked again.
      {"[script]\n0A 11 04 answer C0 times 1", kFrontPanel, {}, Joined({{"04 03 00 01"}, kReads})},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Server server(c.machine);
    server.device.reports_length_of_errors = false;
    EXPECT_EQ(Errors(server.Run(38, c.parameters)), c.errors);
    Lines reads = Only({"> 0A 11", "C0 > 0A 11", "C2 > 0A 11"}, server.controller.log);
    for (std::string& line : reads) line = line.substr(line.find("0A 11 ") + 6);
    EXPECT_EQ(reads, c.reads);
  }
}

// A read that fails leaves what the buffer holds: here the count and the area's
// offset, which are no date.
TEST(ManufacturingDate, AFailedReadLeavesTheBytesOfTheReadBefore) {
  Server server("[script]\n0A 11 00 2B silence");
  EXPECT_EQ(Errors(server.Run(34, {{u"MFG_DATE", u"2009/06/15"}})),
            (Lines{kReadFailed,
                   R"(ReportError 25 "\r\nMfg Date & Time test failed. Expected: > 0x6bf940 Received: 0x5.\r\n")"}));
}

TEST(ManufacturingDate, AProbeOnlyAsksWhetherTheFruAnswers) {
  const struct {
    const char* machine;
    bool answers;
    std::size_t requests;
    const char* reason;
  } cases[] = {
      {"[fru 0]\nboard minutes = 0", true, 2, ""},
      {"[script]\n0A silence", false, 1, "IPMI command - Get FRU Data Area Info failed"},
      // Without the second answer the test itself is run.
      {"[script]\n0A silence after 1 times 1", true, 3, "IPMI command - Get FRU Data Area Info failed"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.machine);
    Server server(c.machine);
    server.station.library->parameters = {{u"MFG_DATE", u"2009/06/15"}};
    server.Bind();
    EXPECT_EQ(mfgtest::VerifyMfgDate(mfgtest::Mode::kProbe), c.answers);
    EXPECT_EQ(Errors(server.station.Transcript()), Lines{});
    EXPECT_EQ(server.Requests().size(), c.requests);
    EXPECT_EQ(LastErrorText(), c.reason);
  }
}

}  // namespace
