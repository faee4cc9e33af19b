// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "guid/system_guid.h"

#include <optional>

#include "report/last_error.h"
#include "simulation/flash.h"
#include "simulation/manufacturing_interface.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/guid/server_guid.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::Station;
using simulation::Widen;

// A station whose server has the GUID; the method accepts any plausible node.
struct Server : Station {
  explicit Server(const GuidBytes& guid = kServerGuid) {
    smbios = TableWithGuid(guid);
    library->parameters = {{u"READ_GUID_METHOD", u"SMBIOS"}, {u"VERIFY_MACADDR_AGAINST", u"NONE"}};
  }
};

std::string Error(int code, const std::string& text) {
  return "ReportError " + std::to_string(code) + " \"" + text + "\"";
}

// What Autosense would get to know: the result and, of a failure, the reason.
std::string Probe(Station& station) {
  station.Bind();
  station.library->calls.clear();
  const std::size_t allocated = station.machine.memory.Outstanding();
  mfgtest::SetLastError("");
  const bool applies = mfgtest::VerifyGuid(mfgtest::Mode::kProbe);
  EXPECT_EQ(Errors(station.Transcript()), Lines{});
  EXPECT_EQ(station.machine.memory.Outstanding(), allocated + station.kept_blocks);
  return applies ? "applies" : simulation::Readable(mfgtest::LastError());
}

TEST(VerifyGuid, ExplainsTheGuid) {
  Server station;
  simulation::NetworkController network(station.machine, kServerMac);
  station.library->parameters[u"VERIFY_MACADDR_AGAINST"] = u"macaddr_onboard";
  EXPECT_EQ(
      Merged(station.Run(14)),
      (Lines{
          "Initialize -> 0 test 14", R"(GetParamString "READ_GUID_METHOD" 64 -> 0 "SMBIOS")",
          R"(DisplayPrint "Verifying GUID from SMBIOS\r\n")",
          R"(DebugPrint 2 "Raw GUIDStr from SMBIOS: {12345678-9abc-11df-8abc-001122334455}\n  Format of a guid is:\n     aaaaaaaa-bbbb-cddd-eeff-gggggghhhhhh\n  Components are:\n     aaaaaaaa = low field of time stamp\n     bbbb     = middle field of time stamp\n     c        = vers number of guid                 (1)\n     ddd      = high field of time stamp            (1df)\n     ee       = high field of clock sequence\n     ff       = low field of clock sequence\n     gggggg   = 1st half of mac (oui)               (001122)\n     hhhhhh   = 2nd half of mac                     (334455)\nGUID in EFI_GUID format: 78563412-bc9a-df11-8abc-001122334455\n")",
          R"(DebugPrint 8 "after swap: time_lo: 12345678\nafter swap: time_mid: 9abc\nafter swap: time_hi_and_ver: 11df\n")",
          R"(GetParamString "VERIFY_MACADDR_AGAINST" 64 -> 0 "macaddr_onboard")",
          R"(DebugPrint 1 "Start VerifyTarvoMacAddr(): method = macaddr_onboard\r\n\nFound 1 SNP Protocol(s)\n")",
          R"(GetParamNumber "NIC_Index" -> 1)",
          R"(DebugPrint 1 "Trying SNP Protocol 0....\nFound\nMAC Address: 0x00 0x11 0x22 0x33 0x44 0x55 \nReceived Mac: 001122334455\n")",
          "EndTest"}));
}

TEST(VerifyGuid, JudgesVersionTimeAndVariant) {
  constexpr const char* kFine = nullptr;
  const char* const old =
      R"(\n  Guid TIME_HI_MIN failed (xxxxxxxx-xxxx-xTTT-xxxx-xxxxxxxxxxxx):\n  Expected minimum:1d1,  Received:)";
  const char* const young =
      R"(\n  Guid TIME_HI_MAX failed (xxxxxxxx-xxxx-xTTT-xxxx-xxxxxxxxxxxx):\n  Expected maximum:1e8,  Received:)";
  const char* const version =
      R"(\n  Guid Version failed (xxxxxxxx-xxxx-Vxxx-xxxx-xxxxxxxxxxxx):\n  Required:1,  Received:)";
  const char* const variant =
      R"(\n  Invalid Clock Seq Hi and Reserved. (xxxxxxxx-xxxx-xxxx-CCxx-xxxxxxxxxxxx):\n  Expected binary: 10xxxxxx, Received: )";
  const struct {
    std::uint16_t time_high_and_version;
    std::uint8_t clock_sequence_high;
    int code;
    const char* complaint;
    const char* received;
  } cases[] = {
      {0x11D1, 0x80, 0, kFine, ""},        {0x11D0, 0x80, 8, old, "1d0"},       {0x1000, 0x80, 8, old, "0"},
      {0x11E7, 0x80, 0, kFine, ""},        {0x11E8, 0x80, 0, kFine, ""},        {0x11E9, 0x80, 8, young, "1e9"},
      {0x1FFF, 0x80, 8, young, "fff"},     {0x01DF, 0x80, 10, version, "0"},    {0x21DF, 0x80, 10, version, "2"},
      {0x4000, 0x00, 10, version, "4"},    {0xF1DF, 0x80, 10, version, "f"},    {0x11DF, 0xBF, 0, kFine, ""},
      {0x11DF, 0xC0, 14, variant, "0xc0"}, {0x11DF, 0x7F, 14, variant, "0x40"}, {0x11DF, 0x3F, 14, variant, "0x 0"},
  };
  const std::string warning =
      R"(LogMessage "guid->time_hi is approaching test limitation.\r\nHave test updated to extend this limit before false failures occur.")";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.time_high_and_version);
    GuidBytes guid = kServerGuid;
    guid[6] = static_cast<std::uint8_t>(c.time_high_and_version >> 8);
    guid[7] = static_cast<std::uint8_t>(c.time_high_and_version);
    guid[8] = c.clock_sequence_high;
    std::string text = Hexadecimal(guid);
    for (const std::size_t hyphen : {20, 16, 12, 8}) text.insert(hyphen, "-");
    const Lines warnings = c.time_high_and_version == 0x11E8 ? Lines{warning} : Lines{};
    const std::string complaint =
        c.complaint == nullptr ? "" : "Guid (method=SMBIOS): {" + text + "}" + c.complaint + c.received + "\\n";
    Server station(guid);
    const Lines lines = station.Run(14);
    EXPECT_EQ(Errors(lines), c.complaint == nullptr ? Lines{} : Lines{Error(c.code, complaint)});
    EXPECT_EQ(Only({"LogMessage"}, lines), warnings);
    EXPECT_EQ(Probe(station) == "applies", c.complaint == nullptr);
    EXPECT_EQ(Only({"LogMessage"}, station.Transcript()),
              Joined({{R"(LogMessage "Autosense():: Verifying GUID from SMBIOS\r\n")"}, warnings}));
  }
}

struct Node {
  const char* name;
  std::array<std::uint8_t, 6> node;
  std::map<std::u16string, std::u16string> parameters;
  // What a complaint shows: six digits of an OUI or twelve of an address, and
  // what was received. Null for a pass.
  const char* expected;
  const char* received = "";
};

constexpr std::array<std::uint8_t, 6> kOther = {0x33, 0x44, 0x55, 0x00, 0x00, 0x01};

const Node kNodes[] = {
    {"any method accepts a plausible one", kServerMac, {{u"VERIFY_MACADDR_AGAINST", u"whatever"}}, nullptr},
    {"only the OUI has to be plausible", {0, 0, 1, 0, 0, 0}, {{u"VERIFY_MACADDR_AGAINST", u"NONE"}}, nullptr},
    {"an OUI of zeros", {0, 0, 0, 1, 2, 3}, {{u"VERIFY_MACADDR_AGAINST", u"NONE"}}, "000000", "000"},
    {"an OUI of ones", {0xFF, 0xFF, 0xFF, 1, 2, 3}, {{u"VERIFY_MACADDR_AGAINST", u"NONE"}}, "ffffff", "000"},
    {"no method", kServerMac, {}, "001122", "000"},
    {"the controller's", kServerMac, {{u"VERIFY_MACADDR_AGAINST", u"MACADDR_ONBOARD"}}, nullptr},
    {"the second controller's",
     kOther,
     {{u"VERIFY_MACADDR_AGAINST", u"MacAddr_OnBoard"}, {u"NIC_Index", u"1"}},
     nullptr},
    {"not the controller's", kOther, {{u"VERIFY_MACADDR_AGAINST", u"MACADDR_ONBOARD"}}, "334455000001", "001122334455"},
    {"no such controller",
     kServerMac,
     {{u"VERIFY_MACADDR_AGAINST", u"MACADDR_ONBOARD"}, {u"NIC_Index", u"2"}},
     "001122334455",
     "000"},
    {"the last byte counts",
     {0x00, 0x11, 0x22, 0x33, 0x44, 0x54},
     {{u"VERIFY_MACADDR_AGAINST", u"MACADDR_ONBOARD"}},
     "001122334454",
     "001122334455"},
    {"first of a list",
     kServerMac,
     {{u"VERIFY_MACADDR_AGAINST", u"MACADDR_LIST"}, {u"MACADDR00", u"0x001122"}},
     nullptr},
    {"second of a list",
     kOther,
     {{u"VERIFY_MACADDR_AGAINST", u"macaddr_list"}, {u"MACADDR00", u"0x001122"}, {u"MACADDR01", u"0xFF334455"}},
     nullptr},
    {"a gap ends a list",
     kOther,
     {{u"VERIFY_MACADDR_AGAINST", u"MACADDR_LIST"}, {u"MACADDR00", u"0x010203"}, {u"MACADDR02", u"0x334455"}},
     "334455",
     "0010203"},
    {"the last one compared is shown",
     kServerMac,
     {{u"VERIFY_MACADDR_AGAINST", u"MACADDR_LIST"}, {u"MACADDR00", u"0x001123"}, {u"MACADDR01", u"0xA01122"}},
     "001122",
     "00a01122"},
    {"an empty list", kServerMac, {{u"VERIFY_MACADDR_AGAINST", u"MACADDR_LIST"}}, "001122", "000"},
    {"the maker's own needs no list",
     {0x77, 0xC9, 0xA0, 0x00, 1, 2},
     {{u"VERIFY_MACADDR_AGAINST", u"MACADDR_LIST"}},
     nullptr},
    {"nearly the maker's own",
     {0x77, 0xC9, 0xA0, 0x01, 1, 2},
     {{u"VERIFY_MACADDR_AGAINST", u"MACADDR_LIST"}},
     "77c9a0",
     "000"},
    {"half the maker's own",
     {0x77, 0xC9, 0xA1, 0x00, 1, 2},
     {{u"VERIFY_MACADDR_AGAINST", u"MACADDR_LIST"}},
     "77c9a1",
     "000"},
    {"the maker's own in its true order",
     {0x00, 0xA0, 0xC9, 0x00, 1, 2},
     {{u"VERIFY_MACADDR_AGAINST", u"MACADDR_LIST"}},
     "00a0c9",
     "000"},
};

TEST(VerifyGuid, JudgesTheNode) {
  for (const Node& node : kNodes) {
    SCOPED_TRACE(node.name);
    GuidBytes guid = kServerGuid;
    std::ranges::copy(node.node, guid.begin() + 10);
    Server station(guid);
    simulation::NetworkController first(station.machine, kServerMac);
    simulation::NetworkController second(station.machine, kOther);
    station.library->parameters = node.parameters;
    station.library->parameters[u"READ_GUID_METHOD"] = u"SMBIOS";
    Lines expected;
    if (node.expected != nullptr) {
      const bool is_whole = std::string(node.expected).size() == 12;
      const std::string head =
          is_whole ? R"(Guid MAC failed (xxxxxxxx-xxxx-xxxx-xxxx-MMMMMMMMMMMM):\nExpected MAC: )"
                   : R"(Guid MAC (OUI portion) failed (xxxxxxxx-xxxx-xxxx-xxxx-MMMMMMCCCCCC):\nExpected OUI: )";
      expected = {Error(7, "Guid (method=SMBIOS): {12345678-9abc-11df-8abc-" + Hexadecimal(node.node) + "}\\n" + head +
                               node.expected + (is_whole ? " Received MAC: " : " Received OUI: ") + node.received +
                               "\\n")};
    }
    EXPECT_EQ(Errors(station.Run(14)), expected);
    EXPECT_EQ(Probe(station) == "applies", expected.empty());
  }
}

TEST(VerifyGuid, LeavesTheControllersAddressForAutosense) {
  GuidBytes guid = kServerGuid;
  std::ranges::copy(kOther, guid.begin() + 10);
  Server station(guid);
  simulation::NetworkController network(station.machine, kServerMac);
  station.library->parameters[u"VERIFY_MACADDR_AGAINST"] = u"MACADDR_ONBOARD";
  EXPECT_EQ(Probe(station),
            R"(Verify against OnBoard Mac Address.\u000D\u000A   OnBrdAddr: 0x00 0x11 0x22 0x33 0x44 0x55\u000D\u000A)"
            R"(   GUIDVal  : 0x33 0x44 0x55 0x00 0x00 0x01\u000D\u000A)");
}

// How a read of the GUID goes: what the station has, and what must come of it.
struct Source {
  const char* name;
  void (*prepare)(Station& station, simulation::Flash& flash);
  bool has_store;
  Lines errors;
  std::size_t kept_blocks = 0;
};

void ByFlash(Station& station) { station.library->parameters[u"READ_GUID_METHOD"] = u"flash"; }

void AtFlash(Station& station, simulation::Flash& flash, const char* offset) {
  ByFlash(station);
  flash.Program(0x8123, kServerGuid);
  station.library->parameters[u"FlashAddress"] = Widen(std::to_string(flash.Address()));
  if (offset != nullptr) station.library->parameters[u"GuidOffsetFlash"] = Widen(offset);
}

const Source kSources[] = {
    {"no method",
     [](Station& s, simulation::Flash&) { s.library->parameters.erase(u"READ_GUID_METHOD"); },
     false,
     {Error(1, R"(Failed to get param:READ_GUID_METHOD\r\n)")}},
    {"no memory",
     [](Station& s, simulation::Flash&) { s.machine.memory.refused_size = 16; },
     false,
     {Error(16, R"(Failed to allocate memory for the GUID\r\n)")}},
    {"no system structure",
     [](Station& s, simulation::Flash&) {
       s.smbios = {};
       s.smbios.Add(2, 0, {});
     },
     false,
     {Error(3, R"(Failed to get SMBIOS System Structure.\r\nNo Structure Type 1, Index 0, found.\n\r\n)")},
     1},
    {"a structure without a UUID",
     [](Station& s, simulation::Flash&) {
       s.smbios = {};
       s.smbios.Add(1, 0, {1, 0, 0, 0}, {"A"});
     },
     false,
     {Error(
         10,
         R"(Guid (method=SMBIOS): {00000000-0000-0000-0000-000000000000}\n  Guid Version failed (xxxxxxxx-xxxx-Vxxx-xxxx-xxxxxxxxxxxx):\n  Required:1,  Received:0\n)")}},
    {"flash in memory", [](Station& s, simulation::Flash& flash) { AtFlash(s, flash, "0x8123"); }, false, {}},
    {"another place in flash",
     [](Station& s, simulation::Flash& flash) { AtFlash(s, flash, "0x8124"); },
     false,
     {Error(
         10,
         R"(Guid (method=flash): {3456789a-bc11-df8a-bc00-11223344553b}\n  Guid Version failed (xxxxxxxx-xxxx-Vxxx-xxxx-xxxxxxxxxxxx):\n  Required:1,  Received:d\n)")}},
    {"no address",
     [](Station& s, simulation::Flash&) { ByFlash(s); },
     false,
     {Error(1, R"(\r\nFailed to get param: FlashAddress\r\n)"),
      Error(18, R"(Failed to read GUID from the Flash.\r\nFailed to get param: FlashAddress\r\n)")},
     1},
    {"no offset: named as the writing test names it",
     [](Station& s, simulation::Flash& flash) {
       AtFlash(s, flash, nullptr);
       s.library->parameters[u"GuidOffsetInFlash"] = u"0x8123";
     },
     false,
     {Error(1, R"(\r\nFailed to get param: GuidOffsetInFlash\r\n)"),
      Error(18, R"(Failed to read GUID from the Flash.\r\nFailed to get param: GuidOffsetInFlash\r\n)")},
     1},
    {"the firmware's store", [](Station& s, simulation::Flash&) { ByFlash(s); }, true, {}},
    {"a store that nobody gets",
     [](Station& s, simulation::Flash&) {
       ByFlash(s);
       s.machine.handles.RefuseInterface(kManufacturingInterfaceProtocolGuid, EFI_ACCESS_DENIED);
     },
     true,
     {Error(18, R"(Failed to read GUID from the Flash.\r\nError locating Mfg Interface. Code: 0x0000000F\r\n)")},
     1},
    {"a search that finds nothing",
     [](Station& s, simulation::Flash&) {
       ByFlash(s);
       s.machine.found_nowhere = kManufacturingInterfaceProtocolGuid;
     },
     false,
     {Error(18, R"(Failed to read GUID from the Flash.\r\nError in getting manufacturing mode handles....\n\r\n)")},
     1},
};

TEST(VerifyGuid, TakesTheGuidFromItsSource) {
  for (const Source& source : kSources) {
    SCOPED_TRACE(source.name);
    Server station;
    simulation::Flash flash(station.machine);
    std::optional<simulation::GuidStore> store;
    if (source.has_store) store.emplace(station.machine).guid = kServerGuid;
    source.prepare(station, flash);
    station.kept_blocks = source.kept_blocks;
    EXPECT_EQ(Errors(station.Run(14)), source.errors);
    const std::string reason = Probe(station);
    EXPECT_EQ(reason == "applies", source.errors.empty());
    EXPECT_NE(reason, "");
  }
}

TEST(VerifyGuid, QuotesTheStoresFailure) {
  Server station;
  simulation::GuidStore store(station.machine);
  store.read_status = EFI_DEVICE_ERROR;
  ByFlash(station);
  station.kept_blocks = 1;
  EXPECT_EQ(Errors(station.Run(14)),
            Lines{Error(18, R"(Failed to read GUID from the Flash.\r\nError in Reading Sysid. Code: 0x00000007\r\n)")});
}

TEST(VerifyGuid, ShowsWhatItReads) {
  Server station;
  ByFlash(station);
  std::optional<simulation::GuidStore> store(std::in_place, station.machine);
  store->guid = kServerGuid;
  const auto shown = [&] { return Merged(Only({"DebugPrint 1"}, station.Run(14))).at(0); };
  EXPECT_TRUE(shown().starts_with(
      R"(DebugPrint 1 "MfgMode Protocol detected\r\nMfg Interface retrieved successfully.\r\nRaw GUID:\r\n12 34 56 78 9a bc 11 df 8a bc 0 11 22 33 44 55 \r\n)"));
  store.reset();
  simulation::Flash flash(station.machine);
  AtFlash(station, flash, "0x8123");
  std::array<char, 120> place;
  std::snprintf(
      place.data(), place.size(),
      R"(DebugPrint 1 "MfgMode not installed - reading FLASH directly\r\nReading GUID from flash at %08x\r\n)",
      flash.Address() + 0x8123);
  EXPECT_TRUE(shown().starts_with(place.data())) << place.data();
}

}  // namespace
