// SPDX-License-Identifier: BSD-2-Clause-Patent
#include <gtest/gtest.h>

#include <string>

#include "drivers/ipmi_kcs/options.h"
#include "simulation/text.h"

namespace ipmi_kcs {
namespace {

TEST(IpmiKcsOptions, AreReadOrRefused) {
  const struct {
    const char16_t* text;
    const char16_t* error;
    bool has_address = false;
    AddressSpace space = AddressSpace::kIo;
    std::uint64_t address = 0;
    unsigned spacing = 1;
  } cases[] = {
      {u"", u""},
      {u" \t\r\n", u""},
      {u"--io 0xca2", u"", true, AddressSpace::kIo, 0xCA2, 1},
      {u"--io 0XCA2 -h", u"", true, AddressSpace::kIo, 0xCA2, 1},
      {u" spacing=16  io=3234 ", u"", true, AddressSpace::kIo, 0xCA2, 16},
      {u"--memory=0xFFFFFFFFFEDCBA98 --spacing=4", u"", true, AddressSpace::kMemory, 0xFFFFFFFFFEDCBA98, 4},
      {u"--io=0xFFFE", u"", true, AddressSpace::kIo, 0xFFFE, 1},
      {u"--io 0xFFFF", u"no registers at I/O address 0xffff."},
      {u"--io 0xFFFE --spacing 4", u"no registers at I/O address 0xfffe."},
      {u"--io 0", u"no registers at I/O address 0x0."},
      {u"--memory 0xFFFFFFFFFFFFFFFF", u"no registers at memory address 0xffffffffffffffff."},
      {u"--io", u"--io: expected a number, found \"\"."},
      {u"--io ca2", u"found \"ca2\"."},
      {u"--io 0xca2h", u"found \"0xca2h\"."},
      {u"--io 0x", u"found \"0x\"."},
      {u"--io -1", u"found \"-1\"."},
      {u"--io 0x10000000000000000", u"found \"0x10000000000000000\"."},
      {u"--memory 999999999999999999999999999999999999999999", u"found \"9999999999999999999999999999999999999999\"."},
      {u"--io \u0163a2", u"expected a number"},
      {u"--io 0xca2 --memory 0x1000", u"a second address is given: 0x1000."},
      {u"--spacing 4", u"--spacing goes with an address"},
      {u"--io 0xca2 --spacing 2", u"1, 4 or 16 bytes apart, not 2."},
      {u"--io 0xca2 --spacing 257", u"not 257."},
      {u"0xca2", u"unknown option 0xca2."},
      {u"--", u"unknown option --."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(simulation::Readable(c.text));
    Options options;
    ErrorText error{};
    const std::u16string_view expected = c.error;
    EXPECT_EQ(ReadOptions(c.text, &options, error), expected.empty());
    const std::u16string_view found = error.data();
    EXPECT_NE(found.find(expected), found.npos) << simulation::Readable(found);
    if (!expected.empty()) continue;
    EXPECT_EQ(options.has_address, c.has_address);
    EXPECT_EQ(options.registers.space, c.space);
    EXPECT_EQ(options.registers.address, c.address);
    EXPECT_EQ(options.registers.spacing, c.spacing);
  }
}

}  // namespace
}  // namespace ipmi_kcs
