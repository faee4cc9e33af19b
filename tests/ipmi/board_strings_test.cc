// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/board_strings.h"

#include "ipmi/device_names.h"
#include "tests/ipmi/server.h"

namespace {

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

}  // namespace
