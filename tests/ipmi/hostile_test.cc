// A controller that answers anything: whatever it sends, a run ends in order
// and nothing is written outside a buffer.
#include <random>

#include "tests/ipmi/server.h"

namespace {

using simulation::Bytes;
using simulation::IpmiAnswer;
using Manner = IpmiAnswer::Manner;

class Hostility {
 public:
  explicit Hostility(unsigned seed) : generator_(seed) {}

  unsigned Below(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(generator_); }

  void Distort(IpmiAnswer& answer) {
    switch (Below(8)) {
      case 0:
        answer.data.resize(Below(400), static_cast<std::uint8_t>(Below(256)));
        break;
      case 1:
        for (std::uint8_t& byte : answer.data) byte = static_cast<std::uint8_t>(Below(256));
        break;
      case 2:
        answer.completion_code = static_cast<std::uint8_t>(Below(256));
        break;
      case 3:
        answer.manner = static_cast<Manner>(Below(4));
        break;
      case 4:
        if (!answer.data.empty()) answer.data[Below(static_cast<unsigned>(answer.data.size()))] ^= 1u << Below(8);
        break;
      default:
        break;
    }
  }

 private:
  std::mt19937 generator_;
};

TEST(HostileController, EveryRunEndsInOrder) {
  const std::uint32_t tests[] = {34, 38, 39, 41, 42, 43};
  const char16_t* const routes[] = {u"0", u"1", u"2", u"3"};
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    Hostility hostility(seed);
    Server server("[script]\n30 93 answer 00 0B after 1");
    server.controller.distort = [&](IpmiAnswer& answer) { hostility.Distort(answer); };
    server.device.reports_length_of_errors = seed % 2 == 0;
    const std::uint32_t test = tests[hostility.Below(std::size(tests))];
    server.Run(test, {{u"MFG_DATE", u"2009/06/15"},
                      {u"SYS_BD_MFG_DATE", u"2009/06/15"},
                      {u"SYS_BD_FRU_ID", seed % 3 == 0 ? u"255" : u"2"},
                      {u"HSBP", routes[hostility.Below(std::size(routes))]},
                      {u"SYS_BOARDS_PART_NUMBER", u"env="}});
    ASSERT_EQ(server.station.end.status, EFI_SUCCESS);
    ASSERT_FALSE(HasFailure());
  }
}

// Fields as long as a type/length byte can say, in a device full of them.
TEST(HostileController, TheLongestFieldsFit) {
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
