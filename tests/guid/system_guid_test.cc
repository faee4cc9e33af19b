// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "guid/system_guid.h"

#include <map>

#include "report/last_error.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/guid/server_guid.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::Station;

// A station whose server has the GUID; the method accepts any plausible node.
struct Server : Station {
  explicit Server(const GuidBytes& guid = kServerGuid) {
    smbios = TableWithGuid(guid);
    library->parameters = {{u"READ_GUID_METHOD", u"SMBIOS"}, {u"VERIFY_MACADDR_AGAINST", u"NONE"}};
  }
};

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

constexpr std::array<std::uint8_t, 6> kOther = {0x33, 0x44, 0x55, 0x00, 0x00, 0x01};

struct Node {
  std::array<std::uint8_t, 6> node;
  const char16_t* method;
  std::map<std::u16string, std::u16string> parameters{};
  // What a complaint shows: six digits of an OUI or twelve of an address, and
  // what was received. Null for a pass.
  const char* expected = nullptr;
  const char* received = "000";
};

const char16_t* const kOnBoard = u"MACADDR_ONBOARD";
const char16_t* const kList = u"MACADDR_LIST";

const Node kNodes[] = {
    // Any method accepts a plausible one, and only the OUI has to be plausible.
    {kServerMac, u"whatever"},
    {{0, 0, 1, 0, 0, 0}, u"NONE"},
    {{0, 0, 0, 1, 2, 3}, u"NONE", {}, "000000"},
    {{0xFF, 0xFF, 0xFF, 1, 2, 3}, u"NONE", {}, "ffffff"},
    {kServerMac, nullptr, {}, "001122"},
    // The address of a controller.
    {kServerMac, kOnBoard},
    {kOther, u"MacAddr_OnBoard", {{u"NIC_Index", u"1"}}},
    {kOther, kOnBoard, {}, "334455000001", "001122334455"},
    {kServerMac, kOnBoard, {{u"NIC_Index", u"2"}}, "001122334455"},
    {{0x00, 0x11, 0x22, 0x33, 0x44, 0x54}, kOnBoard, {}, "001122334454", "001122334455"},
    // A list of OUIs ends at its first gap; the last one compared is shown.
    {kServerMac, kList, {{u"MACADDR00", u"0x001122"}}},
    {kOther, u"macaddr_list", {{u"MACADDR00", u"0x001122"}, {u"MACADDR01", u"0xFF334455"}}},
    {kOther, kList, {{u"MACADDR00", u"0x010203"}, {u"MACADDR02", u"0x334455"}}, "334455", "0010203"},
    {kServerMac, kList, {{u"MACADDR00", u"0x001123"}, {u"MACADDR01", u"0xA01122"}}, "001122", "00a01122"},
    {kServerMac, kList, {}, "001122"},
    // The maker's own needs no list.
    {{0x77, 0xC9, 0xA0, 0x00, 1, 2}, kList},
    {{0x77, 0xC9, 0xA0, 0x01, 1, 2}, kList, {}, "77c9a0"},
    {{0x77, 0xC9, 0xA1, 0x00, 1, 2}, kList, {}, "77c9a1"},
    {{0x00, 0xA0, 0xC9, 0x00, 1, 2}, kList, {}, "00a0c9"},
};

TEST(VerifyGuid, JudgesTheNode) {
  for (const Node& node : kNodes) {
    SCOPED_TRACE(&node - kNodes);
    GuidBytes guid = kServerGuid;
    std::ranges::copy(node.node, guid.begin() + 10);
    Server station(guid);
    simulation::NetworkController first(station.machine, kServerMac);
    simulation::NetworkController second(station.machine, kOther);
    station.library->parameters = node.parameters;
    station.library->parameters[u"READ_GUID_METHOD"] = u"SMBIOS";
    if (node.method != nullptr) station.library->parameters[u"VERIFY_MACADDR_AGAINST"] = node.method;
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

}  // namespace
