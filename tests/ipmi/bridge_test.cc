// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/bridge.h"

#include "tests/ipmi/server.h"

namespace {

using simulation::Bytes;

constexpr mfgtest::IpmiCommand kReadFruData{0x0A, 0x11};

// Reads the board area's offset of the device behind 0xC0.
bool Read(mfgtest::IpmiResponse* response, std::uint8_t responder = 0xC0) {
  const std::uint8_t request[] = {0, 3, 0, 1};
  return mfgtest::SendIpmbMessage(kReadFruData, responder, 0, request, response);
}

TEST(Bridge, CarriesARequestOverTheWire) {
  Server server;
  server.controller.flags = 0x3E;
  server.Bind();
  mfgtest::IpmiResponse response;
  EXPECT_TRUE(Read(&response));
  EXPECT_EQ(Bytes(response.data.begin(), response.data.begin() + response.length), (Bytes{1, 1}));
  EXPECT_EQ(server.controller.log,
            (Lines{"> 06 31", "< 00 3E", "> 06 30 2A", "< 00", "> 06 34 00 C0 28 18 20 06 11 00 03 00 01 C5",
                   "C0 > 0A 11 00 03 00 01", "C0 < 00 01 01", "< 00", "> 06 31", "< 00 15", "> 06 33",
                   "< 00 00 2E B2 C0 04 11 00 01 01 29"}));
  // After each exchange, after the sending and before each look.
  EXPECT_EQ(Only({"Delay"}, server.station.Transcript()),
            (Lines{"Delay 100", "Delay 100", "Delay 100", "Delay 100", "Delay 100", "Delay 50", "Delay 100"}));
}

TEST(Bridge, SequenceWrapsBehindSixtyFourToTwo) {
  Server server;
  server.Bind();
  std::vector<int> sequences;
  for (int i = 0; i < 130; ++i) {
    mfgtest::IpmiResponse response;
    ASSERT_TRUE(Read(&response));
    const Lines sent = Only({"> 06 34"}, server.controller.log);
    sequences.push_back(std::stoi(sent.back().substr(23, 2), nullptr, 16));
  }
  std::vector<int> expected;
  for (int number = 1; expected.size() < 130; number = number == 64 ? 2 : number + 1) {
    expected.push_back(number % 64 * 4 + 2);
  }
  EXPECT_EQ(sequences, expected);
}

TEST(Bridge, PollsAHundredTimesAndSendsThreeTimes) {
  const Lines kTimeouts = {R"(DebugPrint 1 "\nTimeout (3).")", R"(DebugPrint 1 "\nTimeout (2).")",
                           R"(DebugPrint 1 "\nTimeout (1).")",
                           R"(DebugPrint 1 "\nTimeout while waiting for message. Retried 3 times.")"};
  const struct {
    const char* script;
    bool succeeded;
    int sent;
    int polls;
    Lines told;
  } cases[] = {
      {"at C0 0A late 01", true, 1, 1, {}},
      {"at C0 0A late 63", true, 1, 99, {}},
      // The flag is up at the hundredth poll, which is one too late.
      {"at C0 0A late 64", true, 2, 101, {kTimeouts[0]}},
      {"at C0 0A silence times 1", true, 2, 101, {kTimeouts[0]}},
      {"at C0 0A silence times 2", true, 3, 201, {kTimeouts[0], kTimeouts[1]}},
      {"at C0 0A silence", false, 3, 300, kTimeouts},
      // A failed poll is no end.
      {"06 31 silence after 1 times 2", true, 1, 3, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    Server server("[script]\n" + std::string(c.script));
    server.Bind();
    mfgtest::IpmiResponse response;
    EXPECT_EQ(Read(&response), c.succeeded);
    const Lines requests = server.Requests();
    EXPECT_EQ(Only({"> 06 34"}, requests).size(), c.sent);
    EXPECT_EQ(Only({"> 06 31"}, requests).size(), c.polls + 1);
    EXPECT_EQ(Only({R"(DebugPrint 1 "\nTimeout)"}, server.station.Transcript()), c.told);
    const Lines waits = Only({"Delay 50"}, server.station.Transcript());
    EXPECT_EQ(waits.size(), static_cast<std::size_t>(c.polls));
  }
}

TEST(Bridge, FailsWithAReason) {
  constexpr char kFlags[] =
      "\nFailed to get BMC message flag. \nFailed to receive message from BMC through IMB bus. before";
  const struct {
    const char* script;
    const char* reason;
    Lines requests;
  } cases[] = {
      {"06 31 silence", kFlags, {"> 06 31"}},
      {"06 30 answer CC",
       "\nFailed to clear BMC message flag. \nCompletion Code: 0xcc (Invalid Data Field in Request). before",
       {"> 06 31", "> 06 30 00"}},
      {"06 34 answer 81",
       "\nCompletion Code: 0x81 (Lost Arbitration). before",
       {"> 06 31", "> 06 30 00", "> 06 34 00 C0 28 18 20 06 11 00 03 00 01 C5"}},
      {"06 34 refusal",
       "\nFailed to send message to BMC through IMB bus. before",
       {"> 06 31", "> 06 30 00", "> 06 34 00 C0 28 18 20 06 11 00 03 00 01 C5"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    Server server("[script]\n" + std::string(c.script));
    server.Bind();
    mfgtest::SetLastError("before");
    mfgtest::IpmiResponse response;
    EXPECT_FALSE(Read(&response));
    EXPECT_EQ(LastErrorText(), c.reason);
    EXPECT_EQ(server.Requests(), c.requests);
  }
}

TEST(Bridge, ChecksTheMessage) {
  const struct {
    const char* script;
    std::uint8_t responder;
    const char* reason;
  } cases[] = {
      {"06 33 answer 80", 0xC0, "\nCompletion Code: 0x80 (data not available - queue/buffer empty). before"},
      {"06 34 silence after 9", 0xC4, "\nCompletion Code: 0x83 (NAK on Write). before"},
      {"06 33 answer 00", 0xC0, "Device responsed with invalid length - Exp=8+, Actual=0. before"},
      {"06 33 answer 00 00 2E B2 C0 04 11 00", 0xC0, "Device responsed with invalid length - Exp=8+, Actual=7. before"},
      {"at C0 0A net-function 0A", 0xC0, "\nUnregconized Network Function (0xa). before"},
      {"at C0 0A net-function 0D", 0xC0, "\nUnregconized Network Function (0xd). before"},
      {"at C2 0A responder C0", 0xC2, "\nIPMB msg mismatched resp slave address - Exp=0xc2, Actual=0xc0. before"},
      {"at C0 0A command 10", 0xC0, "\nIPMB msg mismatched command type - Exp=0x11, Actual=0x10. before"},
      {"at C0 0A answer CB", 0xC0,
       "\nIPMB msg bad completion code: 0xcb (Requested Sensor/Data/Record Not Present). before"},
      {"at C0 0A answer 81", 0xC0, "\nIPMB msg bad completion code: 0x81 (Unspecified Error). before"},
      {"at C0 0A checksum", 0xC0, "\nIPMB msg Checksum2 error. before"},
      // The checks have an order.
      {"06 33 answer 00 00*8", 0xC0, "\nUnregconized Network Function (0x0). before"},
      {"06 33 answer 00 00 2E 00*6", 0xC0, "\nIPMB msg mismatched resp slave address - Exp=0xc0, Actual=0x0. before"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    Server server("[script]\n" + std::string(c.script));
    server.Bind();
    mfgtest::SetLastError("before");
    mfgtest::IpmiResponse response;
    EXPECT_FALSE(Read(&response, c.responder));
    EXPECT_EQ(LastErrorText(), c.reason);
  }
}

TEST(Bridge, TakesEveryResponseThatTheStandardKnows) {
  for (const std::uint8_t net_function : {0x03, 0x05, 0x07, 0x09, 0x0B, 0x31}) {
    Bytes message = {0, static_cast<std::uint8_t>(net_function << 2 | 2), 0xEE, 0xC0, 0x04, 0x11, 0, 0x99};
    message.push_back(simulation::ZeroChecksum(Bytes(message.begin() + 3, message.end())));
    mfgtest::IpmiResponse received;
    std::ranges::copy(message, received.data.begin());
    received.length = static_cast<std::uint32_t>(message.size());
    mfgtest::IpmiResponse response;
    EXPECT_TRUE(mfgtest::ValidateIpmbResponse(received, 0xC0, kReadFruData, &response)) << +net_function;
    EXPECT_EQ(response.length, 1u);
    EXPECT_EQ(response.data[0], 0x99);
  }
}

}  // namespace
