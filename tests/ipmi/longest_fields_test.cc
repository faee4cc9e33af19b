// SPDX-License-Identifier: BSD-2-Clause-Patent
// Fields as long as a type/length byte can say, in a device full of them.
#include "tests/ipmi/server.h"

namespace {

TEST(LongestFields, Fit) {
  const std::string longest(63, 'w');
  std::string machine;
  for (const char* const device : {"0", "1", "4"}) {
    machine += "[fru " + std::string(device) + "]\nsize = 512\n";
    for (const char* const field : {"board manufacturer", "board product", "product manufacturer", "product product"}) {
      if ((field[0] == 'b') == (*device != '1')) machine += std::string(field) + " = " + longest + "\n";
    }
  }
  Server server(machine);
  EXPECT_EQ(Only({R"(SetResultString "display.cfg:Front panel Manuf)"}, server.Run(41)),
            Lines{R"(SetResultString "display.cfg:Front panel Manufacture" ")" + longest + "\""});
  EXPECT_EQ(Errors(server.Run(39, {{u"SYS_BD_FRU_ID", u"4"},
                                   {u"HSBP", u"0"},
                                   {u"SYS_BOARDS_MANUFACTURER_NAME", simulation::Widen(longest.substr(0, 34))}})),
            Lines{R"(ReportError 4 "\nSYS_BOARDS_MANUFACTURER_NAME mismatched. \nExp: \")" + longest.substr(0, 34) +
                  R"(\"\nRec: \")" + longest + R"(\"\n")"});
}

}  // namespace
