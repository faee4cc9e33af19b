// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "tests/ipmi/server.h"

namespace {

using simulation::Bytes;

TEST(MachineFile, ALineThatIsNotInTheFormatIsNamed) {
  const struct {
    const char* text;
    const char* complaint;
  } cases[] = {
      {"# nothing\nnonsense", "line 2: expected NAME = VALUE"},
      {"oem code = 256", "line 1: expected a number up to 255, found \"256\""},
      {"colour = 1", "line 1: there is no such line: colour"},
      {"[frus 1]", "line 1: there is no such section: [frus 1]"},
      {"[fru 1]\nboard colour = red", "line 2: there is no board field colour"},
      {"[fru 1]\nboard date = 2009-02-29", "line 2: expected a date, found 2009-02-29"},
      {"[fru 1]\nboard offset = 12\n\n", "line 4: an area cannot lie at 12"},
      {"[script]\n0A 11 explode", "line 2: expected what is done, found explode"},
      {"[script]\n0A 11 answer", "line 2: wrong arguments of answer"},
      {"[script]\n0A 11 silence C0", "line 2: wrong arguments of silence"},
      {"[script]\n0A 11 silence sometimes", "line 2: expected \"after\" or \"times\" with a number"},
  };
  for (const auto& c : cases) {
    try {
      simulation::ParseController(c.text);
      ADD_FAILURE() << c.text;
    } catch (const std::runtime_error& complaint) {
      EXPECT_STREQ(complaint.what(), c.complaint);
    }
  }
}

TEST(MachineFile, PutsAnAreaWhereItSays) {
  const simulation::ManagementController controller = simulation::ParseController(
      "[fru 9]\nboard offset = 0x108\nboard manufacturer = A\nboard product = \" B \"\nboard extra = more\nbyte 7 = 1\n");
  const Bytes& image = controller.frus.at(0x20).at(9);
  EXPECT_EQ(Bytes(image.begin(), image.begin() + 8), (Bytes{1, 0, 0, 0x21, 0, 0, 0, 1}));
  EXPECT_EQ(Bytes(image.begin() + 0x108, image.end()),
            (Bytes{1,    3,    25,   0,    0,   0,   1,   'A', 0xC3, ' ', 'B', ' ',
                   0xC0, 0xC0, 0xC0, 0xC4, 'm', 'o', 'r', 'e', 0xC1, 0,   0,   image.back()}));
  EXPECT_EQ(simulation::ZeroChecksum(Bytes(image.begin() + 0x108, image.end())), 0);
}

}  // namespace
