// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/fru_access.h"

#include "tests/ipmi/server.h"

namespace {

using mfgtest::FruBuffer;
using mfgtest::FruReport;
using mfgtest::FruRoute;
using simulation::Bytes;

enum class Reader { kData, kBytes, kNoCount };

constexpr mfgtest::FruRange kBoardOffset{3, 0, 1};

bool Read(Reader reader, FruRoute route, FruReport report, FruBuffer* buffer, mfgtest::FruRange range = kBoardOffset) {
  const mfgtest::FruDevice device{.id = 0, .route = route, .report = report};
  switch (reader) {
    case Reader::kData:
      return mfgtest::ReadFruData(range, report, buffer);
    case Reader::kBytes:
      return mfgtest::ReadFruBytes(device, range, buffer);
    default:
      return mfgtest::ReadFruBytesNoCount(device, range, buffer);
  }
}

TEST(FruAccess, AFailedReadReportsWhereItIsTold) {
  constexpr auto kFailed = "IPMI command - Get FRU Data Area Info failed";
  const Lines kReported = {R"(ReportError 23 "IPMI command - Get FRU Data Area Info failed.\r\n")"};
  const struct {
    Reader reader;
    FruRoute route;
    Lines to_library;
    // Requests on the wire, message flags aside.
    int requests;
  } cases[] = {
      {Reader::kData, FruRoute::kBmc, kReported, 1},
      {Reader::kBytes, FruRoute::kBmc, {}, 5},
      {Reader::kBytes, FruRoute::kPrimaryBackplane, kReported, 1},
      {Reader::kBytes, FruRoute::kSecondaryBackplane, kReported, 1},
      {Reader::kBytes, mfgtest::FruRouteOf(3), kReported, 0},
      {Reader::kBytes, mfgtest::FruRouteOf(0x101), kReported, 0},
      {Reader::kNoCount, FruRoute::kBmc, {}, 5},
      {Reader::kNoCount, FruRoute::kPrimaryBackplane, kReported, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    for (const FruReport report : {FruReport::kToLibrary, FruReport::kToLastError}) {
      Server server("[script]\n0A answer C0\n06 34 answer C0");
      server.Bind();
      FruBuffer buffer;
      buffer.bytes.fill(0x5A);
      buffer.length = 7;
      EXPECT_FALSE(Read(c.reader, c.route, report, &buffer));
      EXPECT_EQ(Errors(server.station.Transcript()), report == FruReport::kToLibrary ? c.to_library : Lines{});
      EXPECT_EQ(LastErrorText() == kFailed, report == FruReport::kToLastError);
      EXPECT_EQ(Only({"> 0A", "> 06 34"}, server.Requests()).size(), c.requests);
      EXPECT_EQ(buffer.Word(), 0x5A5A5A5Au) << "a failure leaves the buffer as it was";
      EXPECT_EQ(buffer.length, 7u);
    }
  }
}

TEST(FruAccess, GivesTheBytesOfEveryRoute) {
  const std::string kRead = R"(DebugPrint 16 "FRU Data: 0x)";
  const struct {
    Reader reader;
    FruRoute route;
    std::uint8_t count;
    Bytes bytes;
    std::uint32_t length;
    Lines logged;
  } cases[] = {
      {Reader::kData, FruRoute::kBmc, 1, {1, 5, 0x5A, 0x5A}, 1, {kRead + "5a5a0501.\\n\""}},
      {Reader::kBytes, FruRoute::kBmc, 2, {2, 5, 13, 0x5A}, 2, {kRead + "5a0d0502.\\n\""}},
      {Reader::kBytes, FruRoute::kPrimaryBackplane, 1, {1, 1, 0x5A, 0x5A}, 1, {kRead + "5a5a0101.\\n\""}},
      {Reader::kBytes, FruRoute::kSecondaryBackplane, 1, {1, 1, 0x5A, 0x5A}, 1, {kRead + "5a5a0101.\\n\""}},
      {Reader::kNoCount, FruRoute::kBmc, 3, {5, 13, 0, 0}, 3, {}},
      // Its end is marked.
      {Reader::kNoCount, FruRoute::kBmc, 2, {5, 13, 0, 0x5A}, 2, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Server server;
    server.Bind();
    FruBuffer buffer;
    buffer.bytes.fill(0x5A);
    EXPECT_TRUE(Read(c.reader, c.route, FruReport::kToLibrary, &buffer, {3, 0, c.count}));
    EXPECT_EQ(Bytes(buffer.bytes.begin(), buffer.bytes.begin() + 4), c.bytes);
    EXPECT_EQ(buffer.length, c.length);
    EXPECT_EQ(Only({kRead}, server.station.Transcript()), c.logged);
  }
}

// An answer of no bytes at all leaves the buffer as it was.
TEST(FruAccess, AnEmptyAnswerIsTaken) {
  for (const Reader reader : {Reader::kData, Reader::kBytes, Reader::kNoCount}) {
    Server server("[script]\n0A 11 answer 00");
    server.Bind();
    FruBuffer buffer;
    buffer.bytes.fill(0x5A);
    EXPECT_TRUE(Read(reader, FruRoute::kBmc, FruReport::kToLibrary, &buffer));
    EXPECT_EQ(buffer.Word(), 0x5A5A5A5Au);
    EXPECT_EQ(buffer.length, 0xFFFFFFFFu);
  }
}

TEST(FruAccess, TheHighByteOfAnOffsetIsKept) {
  Server server("[fru 0]\nsize = 1024\nbyte 0x234 = 0x99\n");
  server.Bind();
  FruBuffer buffer;
  EXPECT_TRUE(Read(Reader::kBytes, FruRoute::kBmc, FruReport::kToLibrary, &buffer, {0x34, 0x02, 1}));
  EXPECT_EQ(buffer.Byte(), 0x99);
  EXPECT_EQ(server.Requests(), Lines{"> 0A 11 00 34 02 01"});
}

TEST(FruAccess, TheOemCodeIsTheFirstByteOrNone) {
  const struct {
    const char* machine;
    int code;
    std::size_t requests;
  } cases[] = {
      {"[script]\n30 93 answer 00 0B 22", 11, 1}, {"[script]\n30 93 silence times 1\n30 93 answer 00 07", 7, 2},
      {"[script]\n30 93 answer 00", 0, 1},        {"", 0, 5},
      {"[script]\n30 93 refusal", 0, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.machine);
    Server server(c.machine);
    server.Bind();
    EXPECT_EQ(mfgtest::GetBmcOemCode(), c.code);
    EXPECT_EQ(server.Requests(), Lines(c.requests, "> 30 93"));
  }
}

}  // namespace
