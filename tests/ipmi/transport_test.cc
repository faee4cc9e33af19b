// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/transport.h"

#include "tests/ipmi/server.h"

namespace {

using simulation::Bytes;
using Service = simulation::ProtocolCall::Service;

constexpr char kNoHandle[] = "\nUnable to locate handle for IPMI Protocol.";
constexpr mfgtest::IpmiCommand kReadFruData{0x0A, 0x11};

struct Outcome {
  bool succeeded;
  mfgtest::IpmiResponse response{};
  std::uint8_t completion_code = 0xEE;
};

Outcome Exchange(bool retried, mfgtest::IpmiCommand command, const Bytes& request) {
  Outcome outcome{};
  outcome.completion_code = 0xEE;
  outcome.response.data.fill(0x33);
  outcome.response.length = 0x33;
  outcome.succeeded =
      retried ? mfgtest::SendIpmiCommandWithRetry(command, request, &outcome.response, &outcome.completion_code)
              : mfgtest::SendIpmiCommand(command, request, &outcome.response);
  return outcome;
}

Bytes Data(const Outcome& outcome) {
  const auto& response = outcome.response;
  return Bytes(response.data.begin(), response.data.begin() + response.length);
}

TEST(Transport, IsLookedUpUntilItIsFound) {
  simulation::Station station;
  station.Bind();
  const simulation::ProtocolCall lookup{Service::kLocateHandle, kIpmiTransportProtocolGuid};
  const auto lookups = [&] { return std::ranges::count(station.machine.protocol_calls, lookup); };
  for (int i = 1; i <= 2; ++i) {
    EXPECT_FALSE(Exchange(false, kReadFruData, {}).succeeded);
    EXPECT_EQ(LastErrorText(), kNoHandle);
    EXPECT_EQ(lookups(), i);
  }
  EXPECT_EQ(station.Transcript(),
            (Lines{R"(DebugPrint 1 "Get IPMI Interface...\n")", R"(DebugPrint 1 "Get IPMI Interface...\n")"}));

  simulation::ManagementController controller;
  const simulation::IpmiDevice device(station.machine, controller);
  EXPECT_TRUE(mfgtest::IsIpmiAvailable());
  EXPECT_TRUE(mfgtest::IsIpmiAvailable());
  EXPECT_EQ(lookups(), 3);
  EXPECT_EQ(station.Transcript().back(), R"(DebugPrint 1 "Done.\n")");
}

TEST(Transport, AFailedLookupHasItsReason) {
  Server server;
  server.Bind();
  std::vector<std::unique_ptr<simulation::IpmiDevice>> more;
  while (more.size() < 19)
    more.push_back(std::make_unique<simulation::IpmiDevice>(server.station.machine, server.controller));
  EXPECT_TRUE(mfgtest::IsIpmiAvailable());

  more.push_back(std::make_unique<simulation::IpmiDevice>(server.station.machine, server.controller));
  server.Bind();
  EXPECT_FALSE(mfgtest::IsIpmiAvailable());
  EXPECT_EQ(LastErrorText(), "\nEFI LocateHandle failed (Status=5).");

  more.clear();
  server.station.machine.handles.RefuseInterface(kIpmiTransportProtocolGuid, EFI_UNSUPPORTED);
  EXPECT_FALSE(mfgtest::IsIpmiAvailable());
  EXPECT_EQ(LastErrorText(), "\nUnable to get interface for IPMI Protocol.");
  EXPECT_FALSE(mfgtest::IsIpmiAvailable());
}

constexpr char kNotSent[] = "\nFailed to send message to BMC through IMB bus. before";
constexpr char kNotReceived[] = "\nFailed to receive message from BMC through IMB bus. before";

TEST(Transport, FollowsItsRulesOfAttempts) {
  const struct {
    const char* script;
    bool retried;
    Bytes request;
    // Of each attempt that was sent, the same wait and its own capacity.
    unsigned delay;
    std::vector<std::uint32_t> capacities;
    bool succeeded;
    Bytes data;
    const char* reason;
  } cases[] = {
      // One attempt.
      {"0A 11 refusal", false, {0, 3, 0, 1}, 0, {}, false, {}, kNotSent},
      {"0A 11 silence", false, {0, 3, 0, 1}, 100, {100}, false, {}, kNotReceived},
      {"0A 11 answer C0", false, {5, 3, 0, 1}, 100, {100}, false, {}, "\nCompletion Code: 0xc0 (Node Busy). before"},
      {"0A 11 receive-error 00 01 02", false, {0, 3, 0, 1}, 100, {100}, false, {}, kNotReceived},
      // The long waits are for requests that begin with 5 to 7.
      {"0A answer 00", true, {4, 3, 0, 1}, 300, {100}, true, {}, "before"},
      {"0A answer 00", true, {5, 3, 0, 1}, 1300, {100}, true, {}, "before"},
      {"0A answer 00", true, {7, 3, 0, 1}, 1300, {100}, true, {}, "before"},
      {"0A answer 00", true, {8, 3, 0, 1}, 300, {100}, true, {}, "before"},
      {"0A answer 00", true, {}, 300, {100}, true, {}, "before"},
      // Errors and codes take an attempt each; the fifth is the last one.
      {"0A silence times 4", true, {0, 3, 0, 1}, 300, {100, 100, 100, 100, 100}, true, {1, 5}, "before"},
      {"0A silence", true, {0, 3, 0, 1}, 300, {100, 100, 100, 100, 100}, false, {}, kNotReceived},
      {"0A answer C0 times 4\n0A answer D3",
       true,
       {0, 3, 0, 1},
       300,
       {100, 0, 0, 0, 0},
       false,
       {},
       "\nCompletion Code: 0xd3 (Destination Unavailable). before"},
      {"0A refusal after 1", true, {0, 9, 9, 1}, 300, {100}, false, {}, kNotSent},
      // The capacity of an attempt is what the one before left, and never more
      // than there is room.
      {"0A answer C0 01 02 03 times 1", true, {0, 0, 0, 8}, 300, {100, 3}, true, {8, 1, 0, 0, 0, 0, 0, 0, 0}, "before"},
      {"0A answer C0 55*300 times 1", true, {0, 3, 0, 1}, 300, {100, 100}, true, {1, 5}, "before"},
      // So is the completion code: an error after a code of 0 ends the attempts.
      {"0A receive-error 00 02 07 09", true, {0, 3, 0, 1}, 300, {100}, true, {2, 7, 9}, "before"},
      {"0A receive-error C0 02 times 1\n0A silence times 1",
       true,
       {0, 3, 0, 1},
       300,
       {100, 1, 1},
       true,
       {1, 0},
       "before"},
      // Longer than asked for, and empty.
      {"0A answer 00 55*300", false, {0, 3, 0, 1}, 100, {100}, true, Bytes(100, 0x55), "before"},
      {"0A answer 00", false, {0, 3, 0, 1}, 100, {100}, true, {}, "before"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    Server server("[script]\n" + std::string(c.script));
    server.Bind();
    mfgtest::SetLastError("before");
    const Outcome outcome = Exchange(c.retried, kReadFruData, c.request);
    std::vector<unsigned> delays;
    for (const auto& call : server.station.library->calls) {
      if (call.operation == simulation::Operation::kDelay) delays.push_back(static_cast<unsigned>(call.number));
    }
    EXPECT_EQ(delays, std::vector<unsigned>(c.capacities.size(), c.delay));
    EXPECT_EQ(server.device.capacities, c.capacities);
    EXPECT_EQ(outcome.succeeded, c.succeeded);
    EXPECT_EQ(LastErrorText(), c.reason);
    if (c.succeeded) {
      EXPECT_EQ(Data(outcome), c.data);
    } else {
      EXPECT_EQ(Data(outcome), Bytes(0x33, 0x33)) << "a failure leaves the response as it was";
      EXPECT_EQ(outcome.completion_code, 0xEE);
    }
  }
}

TEST(Transport, TellsTheAttemptsOfSlowDevices) {
  const struct {
    std::uint8_t device;
    Lines told;
  } cases[] = {
      {4, {}},
      {6,
       {R"(DebugPrint 1 "\nGet Massage error 8000000000000012\n")", R"(DebugPrint 1 "\nCompletion Code error ff\n")",
        R"(DebugPrint 1 "\nCompletion Code error c3\n")"}},
  };
  for (const auto& c : cases) {
    Server server("[script]\n0A silence times 1\n0A answer C3 01*4 times 1");
    server.Bind();
    EXPECT_TRUE(Exchange(true, kReadFruData, {c.device, 3, 0, 1}).succeeded);
    EXPECT_EQ(Only({R"(DebugPrint 1 "\nGet)", R"(DebugPrint 1 "\nCompl)"}, server.station.Transcript()), c.told);
  }
}

TEST(Transport, AReasonIsCutToItsBuffer) {
  Server server("[script]\n0A silence");
  server.Bind();
  for (int i = 0; i < 8; ++i) Exchange(false, kReadFruData, {0});
  EXPECT_EQ(LastErrorText(), Repeated("\nFailed to receive message from BMC through IMB bus. ", 8).substr(0, 255));
}

}  // namespace
