// Tests 41 and 42: the records of the chassis' boards and of the backplanes.
#include "tests/ipmi/server.h"

namespace {

constexpr std::uint32_t kBoards = 41;
constexpr std::uint32_t kBackplanes = 42;

std::string Record(const std::string& name, const std::string& value) {
  return "SetResultString \"display.cfg:" + name + "\" \"" + value + "\"";
}

Lines BackplaneRecords(const std::string& number, const std::string& manufacturer, const std::string& serial,
                       const std::string& part) {
  const std::string name = "SAS backplane " + number;
  return {Record(name + " Manufacture", manufacturer), Record(name + " Serial Number", serial),
          Record(name + " Part Number", part)};
}

const Lines kRecords1 = BackplaneRecords("1", "Example Backplane", "HSN-00000005", "BP-0008-AA");
const Lines kRecords2 = BackplaneRecords("2", "Example Backplane", "HSN-00000006", "BP-0008-AA");
const Lines kRecords3 = BackplaneRecords("3", "Example Backplane", "HSN-00000007", "BP-0008-AA");

Lines WithoutTraffic(Lines lines) {
  std::erase_if(lines, [](const std::string& line) {
    return line.starts_with("DebugPrint 16") || line.starts_with("Delay") || line == R"(DebugPrint 1 "\n")";
  });
  return lines;
}

std::vector<std::string> Reads(const Server& server, const std::string& device) {
  Lines reads = Only({"> 0A 11 " + device}, server.controller.log);
  for (std::string& line : reads) line = line.substr(11);
  return reads;
}

TEST(BoardRecords, AreShownAndPublished) {
  Server server;
  const Lines lines = server.Run(kBoards);
  EXPECT_EQ(WithoutTraffic(lines), (Lines{R"(Initialize -> 0 test 41)",
                                          R"(DebugPrint 1 "Get IPMI Interface...\n")",
                                          R"(DebugPrint 1 "Done.\n")",
                                          R"(DisplayPrint ".")",
                                          R"(DisplayPrint ".")",
                                          R"(DebugPrint 8 "Board Area Offset: 0x1.\n")",
                                          R"(DebugPrint 8 "Mfg Name Type Offset: 0xb.\n")",
                                          R"(DebugPrint 8 "Mfg Name Type: 0xcd. len: 1\n")",
                                          R"(DebugPrint 8 "Mfg Name Len: 0xd\n")",
                                          R"(DebugPrint 1 "\nPower supply 1 Manufacturer Name: Example Power\n")",
                                          R"(DebugPrint 8 "Product Name Type: 0xcc. len: 1\n")",
                                          R"(DebugPrint 8 "Product Name Len: 0xc\n")",
                                          R"(DebugPrint 1 "Power supply 1 Product Name: Supply 750 W\n")",
                                          R"(DebugPrint 8 "Part Number Type: 0xc7. len: 1\n")",
                                          R"(DebugPrint 8 "Part Number Len: 0x7\n")",
                                          R"(DebugPrint 1 "Power supply 1 Part Number: PS-0750\n\n")",
                                          R"(DebugPrint 8 "Part Number Type: 0xc3. len: 1\n")",
                                          R"(DebugPrint 8 "Part Number Len: 0x3\n")",
                                          R"(DebugPrint 1 "Power supply 1 Version Number: A07\n\n")",
                                          R"(DebugPrint 8 "Part Number Type: 0xc8. len: 1\n")",
                                          R"(DebugPrint 8 "Part Number Len: 0x8\n")",
                                          R"(DebugPrint 1 "Power supply 1 Serial Number: PSN-0002\n\n")",
                                          Record("Power supply 1 Manufacture", "Example Power"),
                                          Record("Power supply 1 Serial Number", "PSN-0002"),
                                          Record("Power supply 1 Part Number", "PS-0750"),
                                          R"(DisplayPrint ".")",
                                          R"(DisplayPrint ".")",
                                          R"(DebugPrint 8 "Board Area Offset: 0x1.\n")",
                                          R"(DebugPrint 8 "Mfg Name Type Offset: 0xe.\n")",
                                          R"(DebugPrint 8 "Mfg Name Type: 0xd0. len: 1\n")",
                                          R"(DebugPrint 8 "Mfg Name Len: 0x10\n")",
                                          R"(DebugPrint 1 "\nFront panel Manufacturer Name: Example Panels  \n")",
                                          R"(DebugPrint 8 "Product Name Type: 0xcb. len: 1\n")",
                                          R"(DebugPrint 8 "Product Name Len: 0xb\n")",
                                          R"(DebugPrint 1 "Front panel Product Name: Front Panel\n")",
                                          R"(DebugPrint 8 "Serial Number Type: 0xc8. len: 1\n")",
                                          R"(DebugPrint 8 "Serial Number Len: 0x8\n")",
                                          R"(DebugPrint 1 "Front panel Serial Number: FSN-0004\n")",
                                          R"(DebugPrint 8 "Part Number Type: 0xc7. len: 1\n")",
                                          R"(DebugPrint 8 "Part Number Len: 0x7\n")",
                                          R"(DebugPrint 1 "Front panel Part Number: FP-0004\n\n")",
                                          Record("Front panel Manufacture", "Example Panels  "),
                                          Record("Front panel Serial Number", "FSN-0004"),
                                          Record("Front panel Part Number", "FP-0004"),
                                          R"(DisplayPrint ".")",
                                          R"(DisplayPrint ".")",
                                          R"(DisplayPrint ".")",
                                          R"(DisplayPrint ".")",
                                          R"(DisplayPrint ".")",
                                          R"(DisplayPrint ".")",
                                          R"(DisplayPrint ".")",
                                          R"(DisplayPrint ".")",
                                          R"(DisplayPrint ".")",
                                          R"(DisplayPrint ".")",
                                          R"(DisplayPrint ".")",
                                          R"(DisplayPrint ".")",
                                          R"(DisplayPrint "\n")",
                                          R"(EndTest)"}));
  EXPECT_EQ(Reads(server, "04"), (Lines{"03 00 01", "0E 00 01", "0E 00 11", "1F 00 01", "1F 00 0C", "2B 00 01",
                                        "2B 00 09", "34 00 01", "34 00 08"}));
  EXPECT_EQ(Only({"> 0A 11 05", "> 0A 11 06", "> 0A 11 07"}, server.controller.log), Lines{});
}

TEST(BoardRecords, DevicesThatAreNotThereAreSkipped) {
  simulation::Station station;
  Lines dots(16, R"(DisplayPrint ".")");
  dots.push_back(R"(DisplayPrint "\n")");
  EXPECT_EQ(Only({"DisplayPrint", "SetResult", "ReportError"}, station.Run(kBoards)), dots);
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

TEST(BackplaneRecords, AreShownAndPublished) {
  Server server;
  const Lines lines = server.Run(kBackplanes);
  const auto shown = [](const std::string& id, const std::string& product, const std::string& product_length) {
    const std::string name = "SAS backplane " + std::string(1, static_cast<char>(id[1] - 4));
    const std::string product_offset = "DebugPrint 8 \"Product Name Type: 0xc" + product_length + ". len: 1\\n\"";
    return Lines{R"(DisplayPrint ".")",
                 "DebugPrint 1 \" FRUID " + id + R"( \n")",
                 "DebugPrint 1 \" retry 0 to ping FRUID " + id + R"( \n")",
                 R"(DebugPrint 8 "Board Area Offset: 0x1.\n")",
                 "DebugPrint 1 \" retry 0 to read FRUID " + id + R"( \n")",
                 R"(DebugPrint 8 "Board Area Offset: 0x1.\n")",
                 R"(DebugPrint 8 "Mfg Name Type Offset: 0xe.\n")",
                 R"(DebugPrint 8 "Mfg Name Type: 0xd1. len: 1\n")",
                 R"(DebugPrint 8 "Mfg Name Len: 0x11\n")",
                 "DebugPrint 1 \"\\n" + name + R"( Manufacturer Name: Example Backplane\n")",
                 product_offset,
                 "DebugPrint 8 \"Product Name Len: 0x" + product_length + R"(\n")",
                 "DebugPrint 1 \"" + name + " Product Name: " + product + R"(\n")",
                 R"(DebugPrint 8 "Serial Number Type: 0xcc. len: 1\n")",
                 R"(DebugPrint 8 "Serial Number Len: 0xc\n")",
                 "DebugPrint 1 \"" + name + " Serial Number: HSN-000000" + id + R"(\n")",
                 R"(DebugPrint 8 "Part Number Type: 0xca. len: 1\n")",
                 R"(DebugPrint 8 "Part Number Len: 0xa\n")",
                 "DebugPrint 1 \"" + name + R"( Part Number: BP-0008-AA\n")"};
  };
  EXPECT_EQ(
      WithoutTraffic(lines),
      Joined({{"Initialize -> 0 test 42", R"(DebugPrint 1 "Get IPMI Interface...\n")", R"(DebugPrint 1 "Done.\n")"},
              shown("05", "SAS Plane X8", "c"),
              kRecords1,
              shown("06", "SAS Plane X8-A", "e"),
              kRecords2,
              shown("07", "SAS Plane8", "a"),
              kRecords3,
              {"EndTest"}}));
  EXPECT_EQ(Only({"Delay"}, lines), Lines(30, "Delay 1300"));
  EXPECT_EQ(Reads(server, "05"), (Lines{"03 00 01", "03 00 01", "0E 00 01", "0E 00 12", "20 00 01", "20 00 0D",
                                        "2D 00 01", "2D 00 0D", "3A 00 01", "3A 00 0B"}));
}

TEST(BackplaneRecords, AreJudgedByLengthAndRetried) {
  const Lines kEmpty2 = BackplaneRecords("2", "", "", "");
  const Lines kNoAnswer = {R"(ReportError 48 "IPMI read FRU error.\n")"};
  const std::string kFru6 = "[fru 6]\n";
  const std::string kArea = "Board area information is not programmed in FRU";
  const std::string kNoFru = "IPMI command - Get FRU Data Area Info failed";
  // Reads of device 6 of a complete sequence, the ping included.
  constexpr std::size_t kComplete = 10;
  const struct {
    std::string machine;
    Lines published;
    Lines errors;
    std::size_t attempts;
    std::string reason;
  } cases[] = {
      // Refused at the ping: skipped. Refused only later: the end.
      {kFru6 + "byte 3 = 0", Joined({kRecords1, kRecords3}), {}, 1, ""},
      {kFru6 + "byte 3 = 0xFF", Joined({kRecords1, kRecords3}), {}, 1, ""},
      {kFru6 + "byte 3 = 0x30", Joined({kRecords1, kRecords3}), {}, 1, ""},
      {kFru6 + "byte 3 = 0x2E", Joined({kRecords1, kRecords3}), {}, 1, ""},
      {"[script]\n0A 11 06 03 answer 00 01 FF after 1", kRecords1, {}, 2, kArea},
      // The area's offset wraps at 256.
      {kFru6 + "byte 3 = 0x21", Joined({kRecords1, kRecords2, kRecords3}), {}, kComplete, ""},
      // Lengths that never come right: three tries, then what there is.
      {kFru6 + "board manufacturer = Example Backplan", Joined({kRecords1, kEmpty2, kRecords3}), {}, 1 + 3 * 2, ""},
      {kFru6 + "board manufacturer = Example Backplanes", Joined({kRecords1, kEmpty2, kRecords3}), {}, 1 + 3 * 2, ""},
      {kFru6 + "board product = SAS Plane",  // 9
       Joined({kRecords1, BackplaneRecords("2", "Example Backplane", "", ""), kRecords3}),
       {},
       1 + 3 * 4,
       ""},
      {kFru6 + "board product = SAS Plane X8-AB",  // 15
       Joined({kRecords1, BackplaneRecords("2", "Example Backplane", "", ""), kRecords3}),
       {},
       1 + 3 * 4,
       ""},
      {kFru6 + "board serial = HSN-0000006",
       Joined({kRecords1, BackplaneRecords("2", "Example Backplane", "", ""), kRecords3}),
       {},
       1 + 3 * 6,
       ""},
      {kFru6 + "board part = BP-0008-A",
       Joined({kRecords1, BackplaneRecords("2", "Example Backplane", "HSN-00000006", ""), kRecords3}),
       {},
       1 + 3 * 8,
       ""},
      // A length that is right the second time.
      {"[script]\n0A 11 06 0E answer 00 01 D0 times 1",
       Joined({kRecords1, kRecords2, kRecords3}),
       {},
       kComplete + 2,
       ""},
      // No answer to the ping: the end, without a report.
      {"[script]\n0A 11 06 silence", kRecords1, {}, 3 * 5, kNoFru},
      {"[script]\n0A 11 06 silence times 14", Joined({kRecords1, kRecords2, kRecords3}), {}, kComplete + 14, kNoFru},
      // No answer to the header in the sequence, likewise.
      {"[script]\n0A 11 06 03 answer D2 after 1", kRecords1, {}, 1 + 3 * 5, kNoFru},
      // No answer to a field: the third time it is reported.
      {"[script]\n0A 11 06 20 00 01 silence", kRecords1, kNoAnswer, 1 + 3 * (1 + 2 + 5), kNoFru},
      {"[script]\n0A 11 06 20 00 0F silence", kRecords1, kNoAnswer, 1 + 3 * (1 + 2 + 1 + 5), kNoFru},
      {"[script]\n0A 11 06 20 00 0F silence times 10",
       Joined({kRecords1, kRecords2, kRecords3}),
       {},
       kComplete + 10 + 2 * 4,
       kNoFru},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Server server(c.machine);
    const Lines lines = server.Run(kBackplanes);
    EXPECT_EQ(Only({"SetResult"}, lines), c.published);
    EXPECT_EQ(Errors(lines), c.errors);
    EXPECT_EQ(Reads(server, "06").size(), c.attempts);
    EXPECT_TRUE(LastErrorText() == c.reason) << LastErrorText();
  }
}

TEST(BackplaneRecords, WithoutATransportNothingIsReported) {
  simulation::Station station;
  const Lines lines = station.Run(kBackplanes);
  EXPECT_EQ(Errors(lines), Lines{});
  EXPECT_EQ(Only({R"(DebugPrint 1 " retry)"}, lines).size(), 3u);
  EXPECT_EQ(LastErrorText(), "IPMI command - Get FRU Data Area Info failed");
}

}  // namespace
