// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "net/mac_access.h"

#include <deque>
#include <optional>

#include "report/last_error.h"
#include "simulation/network.h"
#include "simulation/station.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"

namespace {

using mfgtest::MacAddress;
using simulation::NetworkController;
using simulation::Station;

constexpr EFI_GUID kGlobalVariable = {0x8BE4DF61, 0x93CA, 0x11D2, {0xAA, 0x0D, 0x00, 0xE0, 0x98, 0x03, 0x2B, 0x8C}};

using Controllers = std::deque<NetworkController>;

MacAddress Mac(std::uint8_t last) { return {0x02, 0x00, 0x00, 0x00, 0x00, last}; }

using Prepare = void (*)(Station& station, Controllers& controllers);

void Nothing(Station&, Controllers&) {}
void FirstDoesNotStart(Station&, Controllers& c) { c[0].start_status = EFI_DEVICE_ERROR; }

struct Selection {
  std::vector<MacAddress> controllers;
  const char16_t* index;
  std::optional<MacAddress> mac;
  std::string reason{};
  Prepare prepare = Nothing;
};

const std::string kInvalid =
    R"(\u000AInvalid MAC address! Please make sure SNP.efi & Tcpipv4.efi drivers are loaded successfully.)";
const std::string kBeyond = R"(\u000ANIC_Index cannot be greater than total numbers of handles found, 1.)";

const Selection kSelections[] = {
    {{Mac(1), Mac(2)}, nullptr, Mac(1)},
    {{Mac(1), Mac(2), Mac(3)}, u"2", Mac(3)},
    // As many as there are, and more.
    {{Mac(1), Mac(2)}, u"2", {}, kInvalid},
    {{Mac(1)}, u"2", {}, kBeyond},
    {{Mac(1)}, u"0xFFFFFFFF", {}, kBeyond},
    {{}, nullptr, {}, R"(\u000AFailed to locate SNP protocol.  Status=0xe)"},
    {{},
     nullptr,
     {},
     "No NIC/SNP Protocol found.",
     [](Station& s, Controllers&) { s.machine.found_nowhere = simulation::kSimpleNetworkGuid; }},
    {{Mac(1)},
     nullptr,
     {},
     R"(\u000AFailed to get SNP Interface. Status=0xf)",
     [](Station& s, Controllers&) {
       s.machine.handles.RefuseInterface(simulation::kSimpleNetworkGuid, EFI_ACCESS_DENIED);
     }},
    {{Mac(1)},
     nullptr,
     {},
     R"(\u000AFailed to get SNP Interface. Status=0x3)",
     [](Station&, Controllers& c) { c[0].Mode = nullptr; }},
    // Only the chosen one has to start, and it may have started before.
    {{Mac(1)}, nullptr, {}, R"(\u000AFailed to start SNP driver. Status=0x7)", FirstDoesNotStart},
    {{Mac(1), Mac(2)}, u"1", Mac(2), "", FirstDoesNotStart},
    {{Mac(1)}, nullptr, Mac(1), "", [](Station&, Controllers& c) { c[0].mode.State = EfiSimpleNetworkStarted; }},
    {{Mac(1)}, nullptr, Mac(1), "", [](Station&, Controllers& c) { c[0].mode.State = EfiSimpleNetworkInitialized; }},
    {{MacAddress{}}, nullptr, {}, kInvalid},
    {{{0, 0, 0, 0, 0, 0xFF}}, nullptr, MacAddress{0, 0, 0, 0, 0, 0xFF}},
};

TEST(GetMacAddr, ReadsTheSelectedController) {
  for (const Selection& selection : kSelections) {
    SCOPED_TRACE(&selection - kSelections);
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
  const MacAddress mac{0, 0x11, 0x22, 0x33, 0x44, 0x55};
  const struct {
    const char16_t* variable;
    std::u16string text;
    const char16_t* index;
    std::optional<MacAddress> mac;
  } cases[] = {
      {u"Nic1MacAddress", u"001122334455", nullptr, mac},
      {u"Nic2MacAddress", u"001122334455", u"1", mac},
      {u"Nic4MacAddress", u"aAbBcCdDeEfF", u"3", MacAddress{0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}},
      {u"Nic3MacAddress", u"10", u"0x102", MacAddress{0, 0, 0, 0, 0, 0x10}},  // the low byte selects
      {u"Nic1MacAddress", u"001122334455", u"4", {}},
      {u"Nic2MacAddress", u"001122334455", nullptr, {}},
      {u"Nic1MacAddress", u"00:11:22:33:44:55", nullptr, {}},
      {u"Nic1MacAddress", u"000000000000", nullptr, {}},
      {u"Nic1MacAddress", u"Z", nullptr, {}},
      {u"Nic1MacAddress", u"00000000001122334455", nullptr, mac},  // as long as the buffer
      {u"Nic1MacAddress", u"000000000001122334455", nullptr, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Station station;
    station.Bind();
    station.machine.variables.Add(c.variable, simulation::TextData(c.text), kGlobalVariable);
    if (c.index != nullptr) station.library->parameters[u"NicMacAddress"] = c.index;
    MacAddress read{};
    EXPECT_EQ(mfgtest::ReadNicMacVariable(&read), c.mac.has_value());
    EXPECT_EQ(read, c.mac.value_or(MacAddress{}));
  }
}

}  // namespace
