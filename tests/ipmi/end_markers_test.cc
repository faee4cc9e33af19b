// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/end_markers.h"

#include "tests/ipmi/server.h"

namespace {

// The areas of FRU device 0 end at 0x27, 0x67 and 0xA7, each with its checksum;
// their markers lie at 0x22, 0x5F and 0xA6.

Lines Missing(const std::string& chassis, const std::string& board, const std::string& product) {
  return {R"(ReportError 31 "\r\nFRU Infor End Of Field Marker Missing:\t\t\t\nChassis Infor Area: Exp:0xC1h Actual:)" +
          chassis + R"(,\t\t\t\nBoard Infor Area  : Exp:0xC1h Actual:)" + board +
          R"(,\t\t\t\nProduct Infor Area: Exp:0xC1h Actual:)" + product + R"(\n")"};
}

// The offsets that were read, high byte first.
Lines Offsets(const Server& server) {
  Lines offsets;
  for (const std::string& line : Only({"> 0A 11 00"}, server.controller.log)) {
    offsets.push_back(line.substr(14, 2) + line.substr(11, 2));
  }
  return offsets;
}

TEST(EndMarkers, AreMissedWhereTheyAreNot) {
  const struct {
    const char* machine;
    Lines errors;
    std::size_t reads;
  } cases[] = {
      {"[fru 0]\nbyte 0x22 = 0", Missing("Missing", "Program", "Program"), 2 + 30 + 1 + 9 + 1 + 2},
      {"[fru 0]\nbyte 0x5F = 0", Missing("Program", "Missing", "Program"), 2 + 6 + 1 + 30 + 1 + 2},
      {"[fru 0]\nbyte 0xA6 = 0", Missing("Program", "Program", "Missing"), 2 + 6 + 1 + 9 + 1 + 30},
      {"[fru 0]\nbyte 0x22 = 0\nbyte 0x5F = 0\nbyte 0xA6 = 0", Missing("Missing", "Missing", "Missing"),
       2 + 30 + 1 + 30 + 1 + 30},
      // The scan begins with the checksum, and the thirtieth byte is its last.
      {"[fru 0]\nbyte 0x22 = 0\nbyte 0x27 = 0xC1", {}, 2 + 1 + 1 + 9 + 1 + 2},
      {"[fru 0]\nbyte 0x5F = 0\nbyte 0x4A = 0xC1", {}, 2 + 6 + 1 + 30 + 1 + 2},
      {"[fru 0]\nbyte 0x5F = 0\nbyte 0x49 = 0xC1", Missing("Program", "Missing", "Program"), 2 + 6 + 1 + 30 + 1 + 2},
      // A device that is silent gives the byte of the read before, at first 0.
      {"[script]\n0A 11 00 silence", Missing("Missing", "Missing", "Missing"), 5 * (2 + 30 + 1 + 30 + 1 + 30)},
      {"[script]\n0A 11 00 27 silence\n0A 11 00 26 answer 00 01 C1", {}, 2 + 5 + 1 + 1 + 9 + 1 + 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.machine);
    Server server(c.machine);
    EXPECT_EQ(Errors(server.Run(43)), c.errors);
    EXPECT_EQ(Offsets(server).size(), c.reads);
  }
}

TEST(EndMarkers, AScanStaysInThePageWhereItBegan) {
  Server server("[fru 0]\nsize = 1024\nbyte 2 = 0x1F\nbyte 0xF9 = 0x03\n");
  server.Run(43);
  const Lines offsets = Offsets(server);
  // The chassis area ends at 0x10F, and is scanned down past 0x100.
  EXPECT_EQ(offsets[1], "00F9");
  EXPECT_EQ(offsets[2], "010F");
  EXPECT_EQ(offsets[17], "0100");
  EXPECT_EQ(offsets[18], "01FF");
  EXPECT_EQ(offsets[31], "01F2");
  EXPECT_EQ(offsets[32], "0111");
}

TEST(EndMarkers, AProbeWantsAllAreas) {
  for (const int header : {0, 2, 3, 4}) {
    for (const char* const byte : {"0", "0xFF"}) {
      if (header == 0 && byte[1] != 0) continue;
      Server server(header == 0 ? "" : "[fru 0]\nbyte " + std::to_string(header) + " = " + byte);
      server.Bind();
      EXPECT_EQ(mfgtest::VerifyFruEndMarkers(mfgtest::Mode::kProbe), header == 0);
      EXPECT_EQ(Errors(server.station.Transcript()), Lines{});
    }
  }
}

TEST(EndMarkers, WithoutATransportEvenAProbeReports) {
  simulation::Station station;
  station.Bind();
  EXPECT_FALSE(mfgtest::VerifyFruEndMarkers(mfgtest::Mode::kProbe));
  EXPECT_EQ(Errors(station.Transcript()),
            Lines{Error(23, R"(Failed to locate IPMI protocol. Make sure IPMI.EFI is loaded.\n)")});
}

}  // namespace
