// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "pci/access.h"

#include "simulation/pci_bus.h"
#include "simulation/station.h"
#include "tests/faults_fail_tests.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::RootBridge;
using simulation::Station;

constexpr std::uint16_t kVendor = 0x8086;
constexpr std::uint16_t kDevice = 0x1234;

constexpr std::uint32_t Address(std::uint32_t bus, std::uint32_t device, std::uint32_t function = 0) {
  return bus << 24 | device << 16 | function << 8;
}

// A bound module on a machine that counts the searches for root bridges.
struct Bus : Station {
  Bus() {
    machine.before_search = [this](const EFI_GUID& protocol) {
      if (SameGuid(protocol, simulation::kRootBridgeGuid)) ++searches;
    };
    Bind();
  }

  unsigned searches = 0;
};

TEST(FindPciDevice, ReadsFunctionZeroOfEveryDeviceInReach) {
  Bus bus;
  RootBridge bridge(bus.machine);
  // Out of reach, the last one because its read fails.
  bridge.AddFunction(Address(255, 0), kVendor, kDevice);
  bridge.AddFunction(Address(0, 31), kVendor, kDevice);
  bridge.AddFunction(Address(0, 0, 1), kVendor, kDevice);
  bridge.AddFunction(Address(7, 7), kVendor, kDevice);
  bridge.header_statuses[Address(7, 7)] = EFI_DEVICE_ERROR;
  // Nearly the same.
  bridge.AddFunction(Address(1, 0), kDevice, kVendor);
  bridge.AddFunction(Address(2, 0), kVendor, kDevice + 1);
  std::uint32_t address = 0xFFFF;
  EXPECT_FALSE(mfgtest::FindPciDevice(kVendor, kDevice, 0, &address));
  EXPECT_EQ(address, 0u);
  EXPECT_EQ(bus.Transcript(), Lines{});

  std::vector<std::pair<std::uint64_t, std::size_t>> reads;
  for (std::uint32_t number = 0; number < 255; ++number) {
    for (std::uint32_t device = 0; device < 31; ++device) reads.emplace_back(Address(number, device), 4);
  }
  EXPECT_EQ(bridge.configuration_reads, reads);
}

TEST(FindPciDevice, CountsDevicesWithTheseIds) {
  Bus bus;
  RootBridge bridge(bus.machine);
  bridge.AddFunction(Address(254, 30), kVendor, kDevice);
  bridge.AddFunction(Address(1, 5), kVendor, kDevice);
  bridge.AddFunction(Address(3, 0), kVendor, kDevice);
  const struct {
    std::uint16_t index;
    bool found;
    std::uint32_t address;
  } cases[] = {{0, true, Address(1, 5)}, {1, true, Address(3, 0)}, {2, true, Address(254, 30)}, {3, false, 0}};
  for (const auto& c : cases) {
    std::uint32_t address = 0xFFFF;
    EXPECT_EQ(mfgtest::FindPciDevice(kVendor, kDevice, c.index, &address), c.found) << c.index;
    EXPECT_EQ(address, c.address);
  }
  EXPECT_EQ(bus.searches, 1u);

  bus.library->calls.clear();
  std::uint32_t address;
  (void)mfgtest::FindPciDevice(kVendor, kDevice, 1, &address);
  EXPECT_EQ(
      bus.Transcript(),
      (Lines{
          R"(DebugPrint 7 "In FindPciDevice: Index = 1 DeviceIndex= 0. DeviceAddress to be returned 0x1050000\n()()Matching DevID()() = 0x1234 & VendorID()() = 0x8086\n")",
          R"(DebugPrint 7 "In FindPciDevice: Index = 1 DeviceIndex= 1. DeviceAddress to be returned 0x3000000\n()()Matching DevID()() = 0x1234 & VendorID()() = 0x8086\n")",
          R"(DebugPrint 7 "In FindPciDevice: Matching VendorID & DevID in FindPciDevice -- and Index matches.\n")"}));
}

TEST(PciSession, TheLastOfThreeBridgesServes) {
  Bus bus;
  RootBridge first(bus.machine), second(bus.machine), third(bus.machine);
  first.AddFunction(Address(0, 0), kVendor, kDevice);
  second.AddFunction(Address(0, 0), kVendor, kDevice);
  third.AddFunction(Address(0, 1), kVendor, kDevice);
  std::uint32_t address = 0;
  EXPECT_TRUE(mfgtest::FindPciDevice(kVendor, kDevice, 0, &address));
  EXPECT_EQ(address, Address(0, 1));
  EXPECT_TRUE(first.configuration_reads.empty() && second.configuration_reads.empty());
}

// Every access of a machine without a root bridge to be had fails, says so and
// looks for one again.
void ExpectNoAccess(Bus& bus, const Lines& complaints) {
  std::uint32_t word = 1;
  std::uint8_t byte = 1;
  const std::size_t allocated = bus.machine.memory.Outstanding();
  EXPECT_FALSE(mfgtest::FindPciDevice(0, 0, 0, &word));
  EXPECT_FALSE(mfgtest::ReadPciBar(0, 0, &word));
  EXPECT_FALSE(mfgtest::MemReadByte(0x1000, 0x23, &byte));
  EXPECT_FALSE(mfgtest::MemReadDword(0x1000, 0x24, &word));
  EXPECT_EQ(bus.searches, 4u);
  EXPECT_LE(bus.machine.memory.Outstanding(), allocated + 1);
  EXPECT_EQ(Only({"LogMessage"}, bus.Transcript()),
            Joined({complaints,
                    complaints,
                    complaints,
                    {R"(LogMessage "Error reading MEMORY MAPPED BYTE at address:00001000h offset:00000023\n")"},
                    complaints,
                    {R"(LogMessage "Error reading M.MAPPED DWORD at address:00001000h offset:00000024\n")",
                     R"(LogMessage " - Not Ready\n")"}}));
}

TEST(PciSession, TriesAgainWithoutABridge) {
  Bus none;
  ExpectNoAccess(none,
                 {R"(LogMessage "Error doing Handle search\n")", R"(LogMessage "\ninitEfiProtocols() failed\n")"});
  RootBridge bridge(none.machine);
  bridge.AddRegister(0x2000, 7);
  std::uint32_t word = 0;
  EXPECT_TRUE(mfgtest::MemReadDword(0x2000, 0, &word));
  EXPECT_EQ(word, 7u);
}

TEST(PciSession, TriesAgainWithoutAnInterface) {
  Bus bus;
  RootBridge first(bus.machine), second(bus.machine);
  bus.machine.handles.RefuseInterface(simulation::kRootBridgeGuid, EFI_ACCESS_DENIED);
  ExpectNoAccess(bus, {R"(LogMessage "\ninitEfiProtocols() failed\n")"});
}

TEST(ReadPciBar, GivesTheRegisterWithItsFlags) {
  Bus bus;
  RootBridge bridge(bus.machine);
  bridge.AddFunction(Address(2, 3), kVendor, kDevice, 0xFEDC000C);
  bridge.headers[Address(2, 3)][9] = 0x12345679;
  const struct {
    std::uint32_t address;
    std::uint8_t index;
    bool read;
    std::uint32_t bar;
    const char* line;
  } cases[] = {
      {Address(2, 3), 0, true, 0xFEDC000C, R"(DebugPrint 8 "BARindex: 0x0, BARAddress: 0xfedc000c \n")"},
      {Address(2, 3), 5, true, 0x12345679, R"(DebugPrint 8 "BARindex: 0x5, BARAddress: 0x12345679 \n")"},
      {Address(2, 4), 0, true, 0xFFFFFFFF, R"(DebugPrint 8 "BARindex: 0x0, BARAddress: 0xffffffff \n")"},
      {Address(9, 9), 0, false, 0, R"(ReportError 7 "\r\nFailed PCI read at address: 0x9090000\n")"},
  };
  bridge.header_statuses[Address(9, 9)] = EFI_DEVICE_ERROR;
  for (const auto& c : cases) {
    bus.library->calls.clear();
    bridge.configuration_reads.clear();
    std::uint32_t bar = 0xAAAA;
    EXPECT_EQ(mfgtest::ReadPciBar(c.address, c.index, &bar), c.read);
    EXPECT_EQ(bar, c.bar);
    EXPECT_EQ(bus.Transcript(), Lines{c.line});
    EXPECT_EQ(bridge.configuration_reads, (std::vector<std::pair<std::uint64_t, std::size_t>>{{c.address, 16}}));
  }
}

TEST(MemRead, ReadsAtTheSumCutTo32Bits) {
  Bus bus;
  RootBridge bridge(bus.machine);
  bridge.AddRegister(0x1010, 0x44332211);
  const struct {
    std::uint64_t base;
    std::uint32_t offset;
  } places[] = {{0x1000, 0x10}, {0xFFFFFFFF00001000, 0x10}, {0xFFFFFFFF, 0x1011}};
  for (const auto& place : places) {
    std::uint8_t byte = 0;
    std::uint32_t word = 0;
    EXPECT_TRUE(mfgtest::MemReadByte(place.base, place.offset + 1, &byte));
    EXPECT_EQ(byte, 0x22);
    EXPECT_TRUE(mfgtest::MemReadDword(place.base, place.offset, &word));
    EXPECT_EQ(word, 0x44332211u);
  }
  EXPECT_EQ(bus.Transcript(), Lines{});
  EXPECT_EQ(bus.searches, 1u);
}

TEST(MemRead, SaysWhereItFailed) {
  Bus bus;
  RootBridge bridge(bus.machine);
  bridge.memory = {{0x1010, 0x11}, {0x1011, 0x22}};
  std::uint8_t byte = 0x77;
  std::uint32_t word = 0x77;
  EXPECT_FALSE(mfgtest::MemReadByte(0xA000, 0xB, &byte));
  // What the failed read left is stored all the same.
  EXPECT_FALSE(mfgtest::MemReadDword(0x1000, 0x10, &word));
  EXPECT_EQ(byte, 0x77);
  EXPECT_EQ(word, 0x2211u);
  EXPECT_EQ(bus.Transcript(),
            (Lines{R"(DebugPrint 1 "status: 2\n")",
                   R"(LogMessage "Error reading MEMORY MAPPED BYTE at address:0000A000h offset:0000000B\n")",
                   R"(LogMessage "Error reading M.MAPPED DWORD at address:00001000h offset:00000010\n")",
                   R"(LogMessage " - Invalid Parameter\n")"}));
}

}  // namespace
