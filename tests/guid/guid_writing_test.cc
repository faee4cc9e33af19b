#include "guid/guid_writing.h"

#include <cstring>
#include <map>
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

std::string Values(std::span<const std::uint8_t> bytes) { return Hexadecimal(bytes, " %02x,") + R"(\r\n)"; }

TEST_F(WriteGuid, PatchesTheFlashBlock) {
  FlashServer station;
  const std::vector<std::uint8_t> before(station.flash.Bytes().begin(), station.flash.Bytes().end());
  Lines lines = station.Run(28);
  EXPECT_TRUE(std::ranges::equal(station.flash.Bytes(), Patched(before, kOffset, kGivenBytes)));

  // The parsing is shown by its own test.
  EXPECT_EQ(Lines(lines.begin(), lines.begin() + 4),
            (Lines{"Initialize -> 0 test 28", R"(GetParamString "SPECIFY_A_GUID" 64 -> 0 "yes")",
                   R"(GetParamString "GUID_TO_WRITE" 128 -> 0 "12345678-9abc-11df-8abc-001122334455")",
                   R"(DebugPrint 1 "GUID_TO_WRITE param string=12345678-9abc-11df-8abc-001122334455\r\n")"}));
  const auto written =
      std::ranges::find(lines, R"(DebugPrint 1 "BuildGUID generated (all byte swapping completed): ")");
  std::array<char, 16> digits;
  std::snprintf(digits.data(), digits.size(), "%08x", station.flash.Address());
  const std::string flash = digits.data();
  std::snprintf(digits.data(), digits.size(), "%08x", station.flash.Address() + kOffset);
  const std::string place = "Flash values at " + std::string(digits.data()) + ": ";
  std::snprintf(digits.data(), digits.size(), "%x", station.flash.Address());
  EXPECT_EQ(Merged({written + 1, lines.end()}),
            (Lines{R"(DebugPrint 1 "78 56 34 12 bc 9a df 11 8a bc 00 11 22 33 44 55 \n")",
                   "GetParamNumber \"FlashAddress\" -> 0 0x" + std::string(digits.data()),
                   R"(GetParamNumber "GuidOffsetInFlash" -> 0 0x8123)",
                   R"(DebugPrint 1 "Writing GUID via SMI. (flash@0x)" + flash + R"() Please wait...\r\n)" + place +
                       Values({before.data() + kOffset, 16}) + "Buf vals before erase  : " + Values(kGivenBytes) +
                       R"(Erase Completed\r\n)" + place + Values(std::vector<std::uint8_t>(16, 0xFF)) +
                       R"(Write completed\r\n)" + place + Values(kGivenBytes) + R"(WriteGuid returning TRUE.\r\n")",
                   "EndTest"}));
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
  const struct {
    const char16_t* offset;
    bool is_written;
  } cases[] = {{u"0", true}, {u"0xFFF0", true}, {u"0xFFF1", false}, {u"0xFFFFFFFF", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(simulation::Readable(c.offset));
    FlashServer station;
    station.library->parameters[u"GuidOffsetInFlash"] = c.offset;
    std::vector<std::uint8_t> expected(station.flash.Bytes().begin(), station.flash.Bytes().end());
    if (c.is_written) expected = Patched(expected, c.offset == std::u16string(u"0") ? 0 : 0xFFF0, kGivenBytes);
    EXPECT_EQ(Errors(station.Run(28)).empty(), c.is_written);
    EXPECT_TRUE(std::ranges::equal(station.flash.Bytes(), expected));
  }
}

struct Failure {
  const char* name;
  void (*prepare)(FlashServer& station);
  const char* error;
  // How many requests the flash service got, and whether the test closed.
  std::size_t requests;
  bool closes;
};

const Failure kFailures[] = {
    {"no GUID given", [](FlashServer& s) { s.library->parameters.erase(u"GUID_TO_WRITE"); },
     R"(ReportError 1 "\r\nFailed to get param: GUID_TO_WRITE\r\n")", 0, false},
    {"a GUID in braces",
     [](FlashServer& s) { s.library->parameters[u"GUID_TO_WRITE"] = u"{12345678-9abc-11df-8abc-001122334455}"; },
     R"(ReportError 19 "\r\nFailed to convert the String to GUID.\r\nInvalid GUID String. Must be XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX.\r\n")",
     0, false},
    {"a new GUID without a controller", [](FlashServer& s) { s.library->parameters[u"SPECIFY_A_GUID"] = u"NO"; },
     R"(ReportError 12 "\r\nFailed to build GUID.\nFailed to locate SNP protocol.  Status=0xe\r\n")", 0, false},
    {"no address", [](FlashServer& s) { s.library->parameters.erase(u"FlashAddress"); },
     R"(ReportError 1 "\r\nFailed to get param: FlashAddress\r\n")", 0, false},
    {"no offset",
     [](FlashServer& s) {
       s.library->parameters.erase(u"GuidOffsetInFlash");
       s.library->parameters[u"GuidOffsetFlash"] = u"0";
     },
     R"(ReportError 1 "\r\nFailed to get param: GuidOffsetInFlash\r\n")", 0, false},
    {"an offset beyond the block", [](FlashServer& s) { s.library->parameters[u"GuidOffsetInFlash"] = u"0xFFF1"; },
     R"(ReportError 1 "\r\nGuidOffsetInFlash 0xfff1 is outside of the flash block.\r\n")", 0, false},
    {"no memory for the block", [](FlashServer& s) { s.machine.memory.refused_size = 0x10010; },
     R"(ReportError 11 "WriteGuid()::malloc(flashCopyBlock) failed\r\n")", 0, true},
    {"no memory for the request", [](FlashServer& s) { s.machine.memory.refuses_pages = true; },
     R"(ReportError 22 "\r\nFailed call to SmiEraseBlock() - status = 9\r\n")", 0, true},
    {"the erase fails", [](FlashServer& s) { s.flash.erase_status = 0x8000000000000007; },
     R"(ReportError 22 "\r\nFailed call to SmiEraseBlock() - status = 7\r\n")", 1, true},
    {"any bit of the status counts", [](FlashServer& s) { s.flash.erase_status = 0x100000000; },
     R"(ReportError 22 "\r\nFailed call to SmiEraseBlock() - status = 0\r\n")", 1, true},
    {"the write fails", [](FlashServer& s) { s.flash.write_status = 0xAB; },
     R"(ReportError 22 "\r\nFailed call to SmiWriteBlock() - status = ab\r\n")", 2, true},
    {"no service answers", [](FlashServer& s) { s.machine.before_search = nullptr; },
     R"(ReportError 22 "\r\nFailed call to SmiEraseBlock() - status = afafafaf\r\n")", 0, true},
};

TEST_F(WriteGuid, ReportsEveryFailureOfTheFlash) {
  for (const Failure& failure : kFailures) {
    SCOPED_TRACE(failure.name);
    FlashServer station;
    const std::vector<std::uint8_t> before(station.flash.Bytes().begin(), station.flash.Bytes().end());
    failure.prepare(station);
    const Lines lines = station.Run(28);
    EXPECT_EQ(Errors(lines), Lines{failure.error});
    EXPECT_EQ(Only({R"(DebugPrint 1 "WriteGuid)"}, lines),
              failure.closes ? Lines{R"(DebugPrint 1 "WriteGuid returning FALSE.\r\n")"} : Lines{});
    EXPECT_EQ(station.flash.requests.size(), failure.requests);
    // An erased block stays erased: nothing is restored.
    const bool is_erased = failure.requests == 2;
    EXPECT_TRUE(
        std::ranges::equal(station.flash.Bytes(), is_erased ? std::vector<std::uint8_t>(0x10000, 0xFF) : before));
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
