// SPDX-License-Identifier: BSD-2-Clause-Patent
// Tests 41 and 42: the records of the chassis' boards and of the backplanes.
#include "tests/ipmi/server.h"

namespace {

constexpr std::uint32_t kBoards = 41;
constexpr std::uint32_t kBackplanes = 42;

Lines Records(const std::string& device, const std::string& manufacturer, const std::string& serial,
              const std::string& part) {
  const std::string head = "SetResultString \"display.cfg:" + device;
  return {head + " Manufacture\" \"" + manufacturer + "\"", head + " Serial Number\" \"" + serial + "\"",
          head + " Part Number\" \"" + part + "\""};
}

Lines BackplaneRecords(const std::string& number, const std::string& manufacturer, const std::string& serial,
                       const std::string& part) {
  return Records("SAS backplane " + number, manufacturer, serial, part);
}

const Lines kRecords1 = BackplaneRecords("1", "Example Backplane", "HSN-00000005", "BP-0008-AA");
const Lines kRecords2 = BackplaneRecords("2", "Example Backplane", "HSN-00000006", "BP-0008-AA");
const Lines kRecords3 = BackplaneRecords("3", "Example Backplane", "HSN-00000007", "BP-0008-AA");

std::vector<std::string> Reads(const Server& server, const std::string& device) {
  Lines reads = Only({"> 0A 11 " + device}, server.controller.log);
  for (std::string& line : reads) line = line.substr(11);
  return reads;
}

TEST(BoardRecords, AnAreaThatWasNeverProgrammedIsSkipped) {
  for (const char* const byte : {"0", "0xFF", "0x30", "0x2E"}) {
    SCOPED_TRACE(byte);
    const std::string is = std::string(" = ") + byte + "\n";
    Server server("[fru 2]\nbyte 4" + is + "[fru 4]\nbyte 3" + is);
    const Lines lines = server.Run(kBoards);
    EXPECT_EQ(Only({"SetResult"}, lines), Lines{});
    EXPECT_EQ(Only({R"(DebugPrint 1 "Board area)"}, lines),
              Lines(2, R"(DebugPrint 1 "Board area information is not programmed in FRU")"));
    EXPECT_EQ(Reads(server, "04"), Lines{"03 00 01"});
  }
}

// What cannot be read is shown from the bytes of the read before.
TEST(BoardRecords, FailedReadsDoNotStopTheWalk) {
  Server server("[script]\n0A 11 04 0E silence\n0A 11 04 1F silence");
  const Lines lines = Only({R"(DebugPrint 1 "\nFront)", R"(DebugPrint 1 "Front)", "ReportError"}, server.Run(kBoards));
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(Only({"Delay 300"}, server.station.Transcript()).size(), server.Requests().size());
}

TEST(BackplaneRecords, AreJudgedByLengthAndRetried) {
  const std::string kFru6 = "[fru 6]\n";
  const std::string kArea = "Board area information is not programmed in FRU";
  const std::string kNoFru = "IPMI command - Get FRU Data Area Info failed";
  const Lines kAll = Joined({kRecords1, kRecords2, kRecords3});
  const Lines kSkipped = Joined({kRecords1, kRecords3});
  const auto second = [](const std::string& manufacturer, const std::string& serial) {
    return Joined({kRecords1, BackplaneRecords("2", manufacturer, serial, ""), kRecords3});
  };
  const Lines kNone = second("", "");
  const Lines kMaker = second("Example Backplane", "");
  const Lines kMakerAndSerial = second("Example Backplane", "HSN-00000006");
  // Reads of device 6 of a complete sequence, the ping included.
  constexpr std::size_t kComplete = 10;
  const struct {
    std::string machine;
    Lines published;
    std::size_t attempts;
    std::string reason{};
    bool reported = false;
  } cases[] = {
      // Refused at the ping: skipped. Refused only later: the end.
      {kFru6 + "byte 3 = 0", kSkipped, 1},
      {kFru6 + "byte 3 = 0xFF", kSkipped, 1},
      {kFru6 + "byte 3 = 0x30", kSkipped, 1},
      {kFru6 + "byte 3 = 0x2E", kSkipped, 1},
      {"[script]\n0A 11 06 03 answer 00 01 FF after 1", kRecords1, 2, kArea},
      // The area's offset wraps at 256.
      {kFru6 + "byte 3 = 0x21", kAll, kComplete},
      // Lengths that never come right: three tries, then what there is.
      {kFru6 + "board manufacturer = Example Backplan", kNone, 1 + 3 * 2},
      {kFru6 + "board manufacturer = Example Backplanes", kNone, 1 + 3 * 2},
      {kFru6 + "board product = SAS Plane", kMaker, 1 + 3 * 4},        // 9
      {kFru6 + "board product = SAS Plane X8-AB", kMaker, 1 + 3 * 4},  // 15
      {kFru6 + "board serial = HSN-0000006", kMaker, 1 + 3 * 6},
      {kFru6 + "board serial = HSN-000000006", kMaker, 1 + 3 * 6},
      {kFru6 + "board part = BP-0008-A", kMakerAndSerial, 1 + 3 * 8},
      // A length that is right the second time.
      {"[script]\n0A 11 06 0E answer 00 01 D0 times 1", kAll, kComplete + 2},
      // No answer to the ping: the end, without a report.
      {"[script]\n0A 11 06 silence", kRecords1, 3 * 5, kNoFru},
      {"[script]\n0A 11 06 silence times 14", kAll, kComplete + 14, kNoFru},
      // No answer to the header in the sequence, likewise.
      {"[script]\n0A 11 06 03 answer D2 after 1", kRecords1, 1 + 3 * 5, kNoFru},
      // No answer to a field: the third time it is reported.
      {"[script]\n0A 11 06 20 00 01 silence", kRecords1, 1 + 3 * (1 + 2 + 5), kNoFru, true},
      {"[script]\n0A 11 06 20 00 0F silence", kRecords1, 1 + 3 * (1 + 2 + 1 + 5), kNoFru, true},
      {"[script]\n0A 11 06 20 00 0F silence times 10", kAll, kComplete + 10 + 2 * 4, kNoFru},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Server server(c.machine);
    const Lines lines = server.Run(kBackplanes);
    EXPECT_EQ(Only({"SetResult"}, lines), c.published);
    EXPECT_EQ(Errors(lines), c.reported ? Lines{R"(ReportError 48 "IPMI read FRU error.\n")"} : Lines{});
    EXPECT_EQ(Reads(server, "06").size(), c.attempts);
    EXPECT_TRUE(LastErrorText() == c.reason) << LastErrorText();
  }
}

}  // namespace
