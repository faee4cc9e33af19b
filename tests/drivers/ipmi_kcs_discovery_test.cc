#include "drivers/ipmi_kcs/discovery.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "platform/image.h"
#include "simulation/machine.h"
#include "simulation/smbios_table.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"

namespace ipmi_kcs {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Table = simulation::SmbiosTable;

// Type 38 from its interface type on, as long as `length` says.
Bytes Type38(std::uint8_t interface, std::uint64_t base, std::uint8_t modifier, std::size_t length = 0x12) {
  Bytes fields{interface, 0x20, 0x20, 0xFF};
  for (int i = 0; i < 8; ++i) fields.push_back(static_cast<std::uint8_t>(base >> (8 * i)));
  fields.insert(fields.end(), {modifier, 0});
  fields.resize(length - 4);
  return fields;
}

Table Server() { return Table().Add(0, 0, Bytes(20), {"Maker", "1.0"}).Add(1, 1, Bytes(23)); }

TEST(IpmiKcsDiscovery, ReadsDeviceInformation) {
  const struct {
    Table table;
    const char16_t* error;
    AddressSpace space = AddressSpace::kIo;
    std::uint64_t address = 0;
    unsigned spacing = 1;
  } cases[] = {
      {Server().Add(38, 2, Type38(1, 0xCA3, 0x00)), u"", AddressSpace::kIo, 0xCA2, 1},
      {Server().Add(38, 2, Type38(1, 0xCA3, 0x10)), u"", AddressSpace::kIo, 0xCA3, 1},
      {Server().Add(38, 2, Type38(1, 0xCA9, 0x4A)), u"", AddressSpace::kIo, 0xCA8, 4},
      {Server().Add(38, 2, Type38(1, 0x1'FED0'0000, 0x80)), u"", AddressSpace::kMemory, 0x1'FED0'0000, 16},
      {Server().Add(38, 2, Type38(1, 0xCA3, 0x40, 0x10)), u"", AddressSpace::kIo, 0xCA2, 1},
      {Server().Add(38, 2, Type38(4, 0x20, 0)).Add(38, 3, Type38(1, 0xCA3, 0)), u"", AddressSpace::kIo, 0xCA2, 1},
      {Server(), u"describes no management controller (type 38)."},
      {Server().Add(127, 2, {}).Add(38, 3, Type38(1, 0xCA3, 0)), u"no management controller"},
      {Server().Add(38, 2, Type38(4, 0x20, 0)), u"is SSIF (type 4), which is not supported"},
      {Server().Add(38, 2, Type38(1, 0xCA3, 0, 0x0F)), u"makes no sense: base 0x0, modifier 0x00."},
      {Server().Add(38, 2, Type38(1, 0xCA3, 0xC0)), u"makes no sense: base 0xca3, modifier 0xc0."},
      {Server().Add(38, 2, Type38(1, 0x10001, 0)), u"makes no sense: base 0x10001"},
      {Server().Add(38, 2, Type38(1, 1, 0)), u"makes no sense: base 0x1,"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(simulation::Readable(c.error) + std::to_string(&c - cases));
    Registers registers;
    ErrorText error{};
    const std::u16string_view expected = c.error;
    EXPECT_EQ(!EFI_ERROR(FindRegisters(c.table.bytes, &registers, error)), expected.empty());
    if (!expected.empty()) {
      EXPECT_NE(std::u16string_view(error.data()).find(expected), expected.npos) << simulation::Readable(error.data());
    }
    EXPECT_EQ(registers.space, c.space);
    EXPECT_EQ(registers.address, c.address);
    EXPECT_EQ(registers.spacing, c.spacing);
  }
}

TEST(IpmiKcsDiscovery, StaysWithinADamagedTable) {
  std::mt19937 generator{38};
  const Bytes whole = Server().Add(38, 2, Type38(1, 0xCA3, 0), {"x"}).Add(3, 3, Bytes(9)).bytes;
  for (int i = 0; i < 20'000; ++i) {
    Bytes damaged = whole;
    for (int changes = 0; changes < 3; ++changes)
      damaged[generator() % damaged.size()] = static_cast<std::uint8_t>(generator());
    // Copied to its exact size, so that a step beyond it is seen.
    damaged = Bytes(damaged.data(), damaged.data() + generator() % (damaged.size() + 1));
    Registers registers;
    ErrorText error{};
    const bool found = !EFI_ERROR(FindRegisters(damaged, &registers, error));
    ASSERT_EQ(found, AreInSpace(registers));
  }
}

TEST(IpmiKcsDiscovery, PrefersTheSixtyFourBitEntryPoint) {
  simulation::Machine machine;
  platform::InitializeImage(machine.LoadImage(), &machine.system_table);
  EXPECT_TRUE(SmbiosTable().empty());

  const simulation::SmbiosDevice smbios(machine, Server());
  EXPECT_EQ(SmbiosTable().size(), Server().bytes.size());
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(SmbiosTable().data()), smbios.Address());

  Bytes entry{'_', 'S', 'M', '3', '_', 0, 0x18, 3, 0, 0, 1, 0, 0x78, 0x56, 0x34, 0x12};
  for (int i = 1; i <= 8; ++i) entry.push_back(static_cast<std::uint8_t>(i));
  machine.AddConfigurationTable({0xF2FD1544, 0x9794, 0x4A2C, {0x99, 0x2E, 0xE5, 0xBB, 0xCF, 0x20, 0xE3, 0x94}},
                                entry.data());
  EXPECT_EQ(SmbiosTable().size(), 0x12345678u);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(SmbiosTable().data()), 0x0807060504030201u);
  std::fill_n(&entry[16], 8, 0);
  EXPECT_EQ(SmbiosTable().size(), Server().bytes.size());
  entry[16] = 1;
  entry[0] = '-';
  EXPECT_EQ(SmbiosTable().size(), Server().bytes.size());
}

}  // namespace
}  // namespace ipmi_kcs
