// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "guid/guid_writing.h"

#include <cstring>
#include <optional>
#include <system_error>

#include "simulation/flash.h"
#include "simulation/manufacturing_interface.h"
#include "simulation/pci_bus.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/guid/server_guid.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::Memory;
using simulation::Station;
using simulation::Widen;

constexpr std::uint32_t kOffset = 0x8123;

// What a given GUID's text becomes in flash: it lies there as in memory.
constexpr const char16_t* kGivenText = u"12345678-9abc-11df-8abc-001122334455";
constexpr GuidBytes kGivenBytes = {0x78, 0x56, 0x34, 0x12, 0xBC, 0x9A, 0xDF, 0x11,
                                   0x8A, 0xBC, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55};

// A server that keeps its GUID in a flash block, with the parameters that write
// a given one there.
struct FlashServer : Station {
  FlashServer() {
    library->parameters = {{u"SPECIFY_A_GUID", u"yes"},
                           {u"GUID_TO_WRITE", kGivenText},
                           {u"FlashAddress", Widen(std::to_string(flash.Address()))},
                           {u"GuidOffsetInFlash", Widen(std::to_string(kOffset))}};
  }

  simulation::RootBridge root_bridge{machine};
  simulation::Flash flash{machine};
};

class WriteGuid : public testing::Test {
  void SetUp() override {
    try {
      simulation::Mapping::At(0xF000, EFI_PAGE_SIZE);
    } catch (const std::system_error&) {
      GTEST_SKIP() << "this host has no memory below 64 KiB for its programs (vm.mmap_min_addr)";
    }
  }
};

std::vector<std::uint8_t> Patched(std::vector<std::uint8_t> block, std::uint32_t offset, const GuidBytes& guid) {
  std::ranges::copy(guid, block.begin() + offset);
  return block;
}

// Firmware aligns a block of the pool to 8 bytes only.
TEST_F(WriteGuid, LaysOutItsRequests) {
  FlashServer station;
  EFI_BOOT_SERVICES& services = *station.machine.system_table.BootServices;
  static const auto allocate = services.AllocatePool;
  static const auto free = services.FreePool;
  static std::uint8_t* odd_block = nullptr;
  services.AllocatePool = [](EFI_MEMORY_TYPE type, UINTN size, void** block) EFIAPI {
    const bool is_copy = size == 0x10010;
    const EFI_STATUS status = allocate(type, is_copy ? size + 8 : size, block);
    if (is_copy) *block = odd_block = static_cast<std::uint8_t*>(*block) + 8;
    return status;
  };
  services.FreePool = [](void* block) EFIAPI { return free(block == odd_block ? odd_block - 8 : block); };
  station.Run(28);
  ASSERT_EQ(station.flash.requests.size(), 2u);
  std::vector<std::uint8_t> page(EFI_PAGE_SIZE, Memory::kFresh);
  const auto put = [&](std::size_t offset, std::uint32_t value) { std::memcpy(&page[offset], &value, sizeof value); };
  put(0, station.flash.Address());
  EXPECT_EQ(station.flash.requests[0], page);
  std::uint32_t source;
  std::memcpy(&source, &station.flash.requests[1][8], sizeof source);
  put(4, 0x10000);
  put(8, source);
  EXPECT_EQ(station.flash.requests[1], page);
  EXPECT_EQ(source % 16, 0u);
  EXPECT_LE(source + 0x10000, reinterpret_cast<std::uintptr_t>(odd_block) + 0x10010);
}

TEST_F(WriteGuid, ReachesBothEndsOfTheBlock) {
  for (const std::uint32_t offset : {0u, kOffset, 0xFFF0u}) {
    FlashServer station;
    station.library->parameters[u"GuidOffsetInFlash"] = Widen(std::to_string(offset));
    const std::vector<std::uint8_t> before(station.flash.Bytes().begin(), station.flash.Bytes().end());
    EXPECT_EQ(Errors(station.Run(28)), Lines{});
    EXPECT_TRUE(std::ranges::equal(station.flash.Bytes(), Patched(before, offset, kGivenBytes)));
  }
}

// An erased block stays erased: nothing is restored.
TEST_F(WriteGuid, LeavesTheBlockWhereItFailed) {
  const struct {
    void (*prepare)(FlashServer& station);
    std::size_t requests;
  } cases[] = {
      {[](FlashServer& s) { s.library->parameters[u"GuidOffsetInFlash"] = u"0xFFF1"; }, 0},
      {[](FlashServer& s) { s.machine.memory.refuses_pages = true; }, 0},
      {[](FlashServer& s) { s.machine.before_search = nullptr; }, 0},  // no service answers
      {[](FlashServer& s) { s.flash.erase_status = 0x8000000000000007; }, 1},
      {[](FlashServer& s) { s.flash.erase_status = 0x100000000; }, 1},
      {[](FlashServer& s) { s.flash.write_status = 0xAB; }, 2},
  };
  for (const auto& c : cases) {
    FlashServer station;
    std::vector<std::uint8_t> expected(station.flash.Bytes().begin(), station.flash.Bytes().end());
    if (c.requests == 2) expected.assign(expected.size(), 0xFF);
    c.prepare(station);
    EXPECT_EQ(Errors(station.Run(28)).size(), 1u);
    EXPECT_EQ(station.flash.requests.size(), c.requests);
    EXPECT_TRUE(std::ranges::equal(station.flash.Bytes(), expected));
  }
}

TEST_F(WriteGuid, PrefersTheManufacturingInterface) {
  FlashServer station;
  simulation::GuidStore store(station.machine);
  Lines lines = station.Run(28);
  EXPECT_EQ(store.guid, kGivenBytes);
  EXPECT_TRUE(station.flash.requests.empty());
  EXPECT_EQ(Errors(lines), Lines{});
  // The test counts as failed all the same.
  EXPECT_EQ(Lines(lines.end() - 4, lines.end()),
            (Lines{R"(DebugPrint 1 "MfgInterface Protocol detected.\r\n")",
                   R"(DisplayPrint "Writing GUID. Please wait...\r\n")",
                   R"(DebugPrint 1 "WriteGuid returning FALSE.\r\n")", "EndTest"}));

  store.write_status = EFI_WRITE_PROTECTED;
  station.library->parameters[u"GUID_TO_WRITE"] = u"00000000-0000-0000-0000-000000000000";
  lines = station.Run(28);
  EXPECT_EQ(store.guid, kGivenBytes);
  EXPECT_EQ(Lines(lines.end() - 2, lines.end()),
            (Lines{R"(ReportError 11 "\r\nError in Writing efiGuid.Status=8\r\n")", "EndTest"}));

  station.machine.handles.RefuseInterface(kManufacturingInterfaceProtocolGuid, EFI_ACCESS_DENIED);
  EXPECT_EQ(Errors(station.Run(28)), Lines{});
  EXPECT_EQ(station.flash.requests.size(), 2u);
}

// What test 14 says of a GUID that test 28 wrote.
TEST_F(WriteGuid, BuildsAGuidThatIsVerified) {
  for (const bool has_store : {false, true}) {
    for (const bool is_given : {false, true}) {
      FlashServer station;
      std::optional<simulation::GuidStore> store;
      if (has_store) store.emplace(station.machine);
      simulation::NetworkController network(station.machine, kServerMac);
      station.machine.time = Clock(2010, 5, 6, 7, 8, 9);
      if (!is_given) station.library->parameters.erase(u"SPECIFY_A_GUID");
      station.library->parameters[u"GuidOffsetFlash"] = Widen(std::to_string(kOffset));
      station.library->parameters[u"READ_GUID_METHOD"] = u"FLASH";
      station.library->parameters[u"VERIFY_MACADDR_AGAINST"] = u"MACADDR_ONBOARD";
      EXPECT_EQ(Errors(station.Run(28)), Lines{});
      const Lines errors = Errors(station.Run(14));
      // A given GUID is stored the other way round than it is verified.
      EXPECT_EQ(errors.size(), is_given ? 1u : 0u);
      EXPECT_TRUE(!is_given || errors[0].starts_with("ReportError 10 ")) << errors[0];
    }
  }
}

}  // namespace
