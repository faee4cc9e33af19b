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

TEST(ManufacturingDate, AnExpectedDateIsChecked) {
  const auto error = [](const std::string& text) {
    return Lines{R"(ReportError 24 "\r\nInvalid date format. )" + text};
  };
  const Lines kYear = error(R"(Year: 1996 < year < 9999\r\n")");
  const Lines kMonth = error(R"(Month: 1 =< month <= 12\r\n")");
  const Lines kDay = error(R"(Day: 1 =< day <= 31\r\n")");
  const Lines kDayOfFebruary = error(R"(Day: 1 =< day <= 28\r\n")");
  const struct {
    std::u16string text;
    Lines errors;
  } cases[] = {
      {u"1996/01/01", {}},
      {u"2009/6/15", {}},
      {u"2009/06/15/31", {}},  // the third slash belongs to the day
      {u"2008/02/29", {}},
      {u"", kYear},
      {u"1995/12/31", kYear},
      {u"10000/01/01", kYear},
      {u"june/01/01", kYear},
      {u"2009", kMonth},
      {u"2009/", kMonth},
      {u"2009/00/01", kMonth},
      {u"2009/13/01", kMonth},
      {u"2009//06/15", kMonth},  // what follows a slash is not looked at
      {u"2009/06", kDay},
      {u"2009/06/00", kDay},
      {u"2009/06/32", kDay},
      {u"2009/02/32", kDayOfFebruary},
      {u"2009/02/00", kDayOfFebruary},
      {u"2009/02/29", error(R"(Day cannot > 28 for Month: 2 in Year: 2009\r\n")")},
      {u"2008/02/30", error(R"(Day cannot > 29 for Month: 2 in Year: 2008\r\n")")},
      {u"2009/04/31", error(R"(Day cannot > 30 for Month: 4\r\n")")},
      {u"2009/06/31", error(R"(Day cannot > 30 for Month: 6\r\n")")},
      {u"2009/09/31", error(R"(Day cannot > 30 for Month: 9\r\n")")},
      {u"2009/11/31", error(R"(Day cannot > 30 for Month: 11\r\n")")},
      {u"9999/12/31",
       {R"(ReportError 25 "\r\nMfg Date & Time test failed. Expected: > 0xfaec2e80 Received: 0x6bf940.\r\n")"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(simulation::Readable(c.text));
    Server server("[fru 0]\nboard date = 2009-06-15\n");
    EXPECT_EQ(Errors(server.Run(34, {{u"MFG_DATE", c.text}})), c.errors);
    if (c.errors.empty() || c.errors[0].starts_with("ReportError 25")) continue;
    EXPECT_EQ(server.controller.log, Lines{}) << "nothing is read for a date that is none";
  }
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
