#include "net/mac_access.h"

#include <deque>
#include <functional>
#include <optional>

#include "module/last_error.h"
#include "simulation/network.h"
#include "simulation/station.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/transcript_lines.h"

namespace {

using mfgtest::MacAddress;
using simulation::NetworkController;
using simulation::Station;

constexpr EFI_GUID kGlobalVariable = {0x8BE4DF61, 0x93CA, 0x11D2, {0xAA, 0x0D, 0x00, 0xE0, 0x98, 0x03, 0x2B, 0x8C}};

using Controllers = std::deque<NetworkController>;

MacAddress Mac(std::uint8_t last) { return {0x02, 0x00, 0x00, 0x00, 0x00, last}; }

void Nothing(Station&, Controllers&) {}

struct Selection {
  const char* name;
  std::vector<MacAddress> controllers;
  const char16_t* index;
  std::optional<MacAddress> mac;
  std::string reason{};
  void (*prepare)(Station& station, Controllers& controllers) = Nothing;
};

const std::string kInvalid =
    R"(\u000AInvalid MAC address! Please make sure SNP.efi & Tcpipv4.efi drivers are loaded successfully.)";
const std::string kBeyond = R"(\u000ANIC_Index cannot be greater than total numbers of handles found, 1.)";

const Selection kSelections[] = {
    {"the first by itself", {Mac(1), Mac(2)}, nullptr, Mac(1)},
    {"the third of three", {Mac(1), Mac(2), Mac(3)}, u"2", Mac(3)},
    {"as many as there are", {Mac(1), Mac(2)}, u"2", {}, kInvalid},
    {"more than there are", {Mac(1)}, u"2", {}, kBeyond},
    {"far more than there are", {Mac(1)}, u"0xFFFFFFFF", {}, kBeyond},
    {"none", {}, nullptr, {}, R"(\u000AFailed to locate SNP protocol.  Status=0xe)"},
    {"none, and the search is content",
     {},
     nullptr,
     {},
     "No NIC/SNP Protocol found.",
     [](Station& s, Controllers&) { s.machine.found_nowhere = simulation::kSimpleNetworkGuid; }},
    {"no interface",
     {Mac(1)},
     nullptr,
     {},
     R"(\u000AFailed to get SNP Interface. Status=0xf)",
     [](Station& s, Controllers&) {
       s.machine.handles.RefuseInterface(simulation::kSimpleNetworkGuid, EFI_ACCESS_DENIED);
     }},
    {"no mode table",
     {Mac(1)},
     nullptr,
     {},
     R"(\u000AFailed to get SNP Interface. Status=0x3)",
     [](Station&, Controllers& c) { c[0].Mode = nullptr; }},
    {"does not start",
     {Mac(1)},
     nullptr,
     {},
     R"(\u000AFailed to start SNP driver. Status=0x7)",
     [](Station&, Controllers& c) { c[0].start_status = EFI_DEVICE_ERROR; }},
    {"only the chosen one has to start",
     {Mac(1), Mac(2)},
     u"1",
     Mac(2),
     "",
     [](Station&, Controllers& c) { c[0].start_status = EFI_DEVICE_ERROR; }},
    {"started before",
     {Mac(1)},
     nullptr,
     Mac(1),
     "",
     [](Station&, Controllers& c) { c[0].mode.State = EfiSimpleNetworkStarted; }},
    {"initialised before",
     {Mac(1)},
     nullptr,
     Mac(1),
     "",
     [](Station&, Controllers& c) { c[0].mode.State = EfiSimpleNetworkInitialized; }},
    {"no address", {MacAddress{}}, nullptr, {}, kInvalid},
    {"nearly no address", {{0, 0, 0, 0, 0, 0xFF}}, nullptr, MacAddress{0, 0, 0, 0, 0, 0xFF}},
};

TEST(GetMacAddr, ReadsTheSelectedController) {
  for (const Selection& selection : kSelections) {
    SCOPED_TRACE(selection.name);
    Station station;
    station.Bind();
    Controllers controllers;
    for (const MacAddress& mac : selection.controllers) controllers.emplace_back(station.machine, mac);
    selection.prepare(station, controllers);
    if (selection.index != nullptr) station.library->parameters[u"NIC_Index"] = selection.index;
    const std::size_t allocated = station.machine.memory.Outstanding();
    mfgtest::SetLastError("");
    MacAddress mac{};
    EXPECT_EQ(mfgtest::GetMacAddr(&mac), selection.mac.has_value());
    EXPECT_EQ(mac, selection.mac.value_or(mac));
    EXPECT_EQ(simulation::Readable(mfgtest::LastError()), selection.reason);
    EXPECT_EQ(station.machine.memory.Outstanding(), allocated);
  }
}

TEST(ReadNicMacVariable, ReadsTheSelectedVariable) {
  const struct {
    const char* name;
    const char16_t* variable;
    std::u16string text;
    const char16_t* index;
    std::optional<MacAddress> mac;
  } cases[] = {
      {"the first by itself", u"Nic1MacAddress", u"001122334455", nullptr, MacAddress{0, 0x11, 0x22, 0x33, 0x44, 0x55}},
      {"the second", u"Nic2MacAddress", u"001122334455", u"1", MacAddress{0, 0x11, 0x22, 0x33, 0x44, 0x55}},
      {"the fourth", u"Nic4MacAddress", u"aAbBcCdDeEfF", u"3", MacAddress{0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}},
      {"the low byte selects", u"Nic3MacAddress", u"10", u"0x102", MacAddress{0, 0, 0, 0, 0, 0x10}},
      {"beyond the names", u"Nic1MacAddress", u"001122334455", u"4", {}},
      {"another one", u"Nic2MacAddress", u"001122334455", nullptr, {}},
      {"with a separator", u"Nic1MacAddress", u"00:11:22:33:44:55", nullptr, {}},
      {"zero", u"Nic1MacAddress", u"000000000000", nullptr, {}},
      {"no text", u"Nic1MacAddress", u"Z", nullptr, {}},
      {"as long as the buffer", u"Nic1MacAddress", u"00000000001122334455", nullptr,
       MacAddress{0, 0x11, 0x22, 0x33, 0x44, 0x55}},
      {"longer than the buffer", u"Nic1MacAddress", u"000000000001122334455", nullptr, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Station station;
    station.Bind();
    station.machine.variables.Add(c.variable, simulation::TextData(c.text), kGlobalVariable);
    if (c.index != nullptr) station.library->parameters[u"NicMacAddress"] = c.index;
    MacAddress mac{};
    EXPECT_EQ(mfgtest::ReadNicMacVariable(&mac), c.mac.has_value());
    EXPECT_EQ(mac, c.mac.value_or(MacAddress{}));
  }
}

TEST(ReadNicMacVariable, ShowsCharactersNumberAndBytes) {
  Station station;
  station.Bind();
  station.machine.variables.Add(u"Nic1MacAddress", simulation::TextData(u"0A1"), kGlobalVariable);
  MacAddress mac{};
  EXPECT_TRUE(mfgtest::ReadNicMacVariable(&mac));
  std::string shown = R"(DebugPrint 1 "MAC address 30\nMAC address 41\nMAC address 31\n)";
  for (int i = 3; i < 12; ++i) shown += R"(MAC address 00\n)";
  EXPECT_EQ(Merged(station.Transcript()),
            (Lines{R"(GetParamNumber "NicMacAddress" -> 1)", shown + R"(MAC Address read a1\n0000000000a1")"}));
}

TEST(DisplayAllMac, ShowsEveryController) {
  Station station;
  NetworkController first(station.machine, Mac(0x0A));
  NetworkController second(station.machine, MacAddress{});
  EXPECT_EQ(
      Merged(station.Run(27)),
      (Lines{"Initialize -> 0 test 27",
             R"(DebugPrint 1 "\nDisplay All MAC ...\nFound 2 SNP Protocol(s)\nTrying SNP Protocol 0...\nFound")",
             R"(DisplayPrint "\nMAC Address 0: 0x02000000000a")", R"(DebugPrint 1 "\nTrying SNP Protocol 1...\nFound")",
             R"(DisplayPrint "\nMAC Address 1: 0x000000000000\n")", "EndTest"}));
}

TEST(DisplayAllMac, StopsAtTheFirstFailure) {
  const struct {
    const char* name;
    void (*prepare)(Station& station, Controllers& controllers);
    const char* error;
    std::size_t shown;
  } cases[] = {
      {"no controller", [](Station&, Controllers& c) { c.clear(); },
       R"(ReportError 6 "\nFailed to locate SNP protocol. Status=0xe\n")", 0},
      {"no interface",
       [](Station& s, Controllers&) {
         s.machine.handles.RefuseInterface(simulation::kSimpleNetworkGuid, EFI_ACCESS_DENIED);
       },
       R"(ReportError 6 "\nNo SNP Interface. Status=0xf\n")", 0},
      {"the second has no mode table", [](Station&, Controllers& c) { c[1].Mode = nullptr; },
       R"(ReportError 6 "\nNo SNP Interface. Status=0x3\n")", 1},
      {"the second does not start", [](Station&, Controllers& c) { c[1].start_status = EFI_TIMEOUT; },
       R"(ReportError 6 "\nFailed to start SNP driver. Status=0x12\n")", 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Station station;
    Controllers controllers;
    for (std::uint8_t i = 0; i < 3; ++i) controllers.emplace_back(station.machine, Mac(i));
    c.prepare(station, controllers);
    const Lines lines = station.Run(27);
    EXPECT_EQ(Errors(lines), Lines{c.error});
    EXPECT_EQ(Only({R"(DisplayPrint "\nMAC)"}, lines).size(), c.shown);
  }
}

}  // namespace
