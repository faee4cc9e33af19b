// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/board_strings.h"

#include "ipmi/device_names.h"
#include "tests/ipmi/server.h"

namespace {

using namespace std::string_literals;

const Parameters kMainBoard = {{u"SYS_BD_FRU_ID", u"0"},
                               {u"HSBP", u"0"},
                               {u"SYS_BOARDS_MANUFACTURER_NAME", u"Example Boards"},
                               {u"SYS_BOARDS_PRODUCT_NAME", u"Main Board"},
                               {u"SYS_BOARDS_SERIAL_NUMBER", u"BSN-0000002"},
                               {u"SYS_BOARDS_PART_NUMBER", u"any"}};

Parameters With(std::initializer_list<std::pair<const char16_t*, const char16_t*>> changes) {
  Parameters parameters = kMainBoard;
  for (const auto& [name, value] : changes) {
    parameters.erase(name);
    if (value != nullptr) parameters[name] = value;
  }
  return parameters;
}

constexpr char kReadFailed[] = R"(ReportError 23 "IPMI command - Get FRU Data Area Info failed.\r\n")";
constexpr char kFieldFailed[] = R"(ReportError 48 "IPMI read FRU error.\n")";

TEST(BoardStrings, ADeviceBehindTheTablesIsUnknown) {
  using mfgtest::FruDeviceName;
  using mfgtest::FruNames;
  const auto name = [](std::uint8_t id, FruNames names) { return simulation::Readable(FruDeviceName(id, names)); };
  EXPECT_NE(name(19, FruNames::kStandard), "Unknown");
  EXPECT_EQ(name(20, FruNames::kStandard), "Unknown");
  EXPECT_EQ(name(16, FruNames::kSecondTable), "SAS backplane");
  EXPECT_EQ(name(17, FruNames::kSecondTable), "Unknown");
}

TEST(BoardStrings, AreReadWithThreeTries) {
  const Lines kUnprogrammed = {R"(ReportError 30 "Board area information is not programmed in FRU.\n")"};
  // A backplane's fields cannot be read along its route; a try reads the header
  // and the first type byte.
  const struct {
    const char* machine;
    Parameters parameters;
    Lines errors;
    std::size_t reads;
  } cases[] = {
      {"[fru 0]\nbyte 3 = 0", kMainBoard, kUnprogrammed, 1},
      {"[fru 0]\nbyte 3 = 0xFF", kMainBoard, kUnprogrammed, 1},
      {"[fru 0]\nbyte 3 = 0x25", kMainBoard, {}, 9},
      {"[script]\n0A 11 00 03 silence times 5", kMainBoard, kUnprogrammed, 5},
      {"[script]\n0A 11 00 2E silence", kMainBoard, {kFieldFailed}, 3 * (1 + 5)},
      {"[script]\n0A 11 00 2E 00 0F silence times 10", kMainBoard, {}, 2 * (2 + 5) + 9},
      {"[script]\n0A 11 00 54 00 0A silence", kMainBoard, {kFieldFailed}, 3 * (8 + 5)},
      {"", With({{u"HSBP", u"1"}, {u"SYS_BD_FRU_ID", u"4"}}), {kReadFailed, kReadFailed, kReadFailed, kFieldFailed}, 6},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Server server(c.machine);
    server.device.reports_length_of_errors = false;
    const Lines lines = server.Run(39, c.parameters);
    EXPECT_EQ(Errors(lines), c.errors);
    EXPECT_EQ(Only({"> 0A 11 00", "C0 > 0A 11 00"}, server.controller.log).size(), c.reads);
  }
}

TEST(BoardStrings, AProbePublishesThem) {
  const std::string kRead = "IPMI command - Get FRU Data Area Info failed";
  const struct {
    const char* machine;
    Parameters parameters;
    bool read;
    const char* part_number_end;
    std::string reason;
  } cases[] = {
      {"", kMainBoard, true, R"(\n")", ""},
      {"[script]\n30 93 answer 00 0B", kMainBoard, true, R"(\n\n")", ""},
      {"[fru 0]\nbyte 3 = 0", kMainBoard, false, "", "Board area information is not programmed in FRU"},
      {"", With({{u"HSBP", nullptr}}), false, "", "Failed to get param: HSBP"},
      {"[script]\n0A 11 00 03 answer C0", kMainBoard, false, "", kRead},
      {"[script]\n0A 11 00 03 answer C0 times 10", kMainBoard, true, R"(\n")", kRead},
      {"[script]\n0A 11 00 2E silence", kMainBoard, false, "", kRead},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Server server(c.machine);
    server.device.reports_length_of_errors = false;
    server.station.library->parameters = c.parameters;
    server.Bind();
    EXPECT_EQ(mfgtest::VerifyFruBoardStrings(mfgtest::Mode::kProbe), c.read);
    const Lines lines = server.station.Transcript();
    EXPECT_EQ(Only({"ReportError", "DisplayPrint"}, lines), Lines{});
    // Without an answer to the OEM query there is a reason from the start.
    EXPECT_TRUE(c.read || LastErrorText() == c.reason) << LastErrorText();
    if (!c.read) continue;
    EXPECT_EQ(Only({"SetResult"}, lines), (Lines{R"(SetResultString "SYS_BOARDS_MANUFACTURER_NAME" "Example Boards")",
                                                 R"(SetResultString "SYS_BOARDS_PRODUCT_NAME" "Main Board")",
                                                 R"(SetResultString "SYS_BOARDS_SERIAL_NUMBER" "BSN-0000002")",
                                                 R"(SetResultString "SYS_BOARDS_PART_NUMBER" "MB-0007-C")"}));
    EXPECT_EQ(Only({"LogMessage"}, lines),
              (Lines{R"(LogMessage "Baseboard Manufacturer Name: Example Boards\n")",
                     R"(LogMessage "Baseboard Product Name: Main Board\n")",
                     R"(LogMessage "Baseboard Serial Number: BSN-0000002\n")",
                     R"(LogMessage "Baseboard Part Number: MB-0007-C)"s + c.part_number_end}));
  }
}

}  // namespace
