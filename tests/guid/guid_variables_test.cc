// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "guid/guid_variables.h"

#include <map>
#include <optional>

#include "guid/eui64.h"
#include "report/last_error.h"
#include "simulation/flash.h"
#include "simulation/pci_bus.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/guid/server_guid.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::Station;
using simulation::TextData;

constexpr EFI_GUID kMfgVendor = {0xEC87D643, 0xEBA4, 0x4BB5, {0xA1, 0xE5, 0x3F, 0x3E, 0x36, 0xB2, 0x0D, 0xA9}};
constexpr EFI_GUID kOldShellVendor = {0x47C7B224, 0xC42A, 0x11D2, {0x8E, 0x57, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};

TEST(CopyGuidToEnvironment, SetsAShellVariable) {
  Station station;
  station.smbios = TableWithGuid(kServerGuid);
  EXPECT_EQ(Errors(station.Run(29)), Lines{});
  station.library->parameters[u"GUID_ENV_VARIABLE"] = u"SysGuid";
  EXPECT_EQ(Only({"LogMessage", "ReportError"}, station.Run(29)), Lines{});
  ASSERT_EQ(station.shell->commands.size(), 2u);
  EXPECT_EQ(station.shell->commands[0].line, u"set \"GUID\" \"123456789abc11df8abc001122334455\"");
  EXPECT_EQ(station.shell->commands[1].line, u"set \"SysGuid\" \"123456789abc11df8abc001122334455\"");
}

// A station that builds afc31280-30f6-11e0-8029-001122334455.
struct Builder : Station {
  Builder() {
    machine.time = Clock(2010, 5, 6, 7, 8, 9);
    library->parameters = {{u"RandomSeed", u"1"}, {u"MARWICK_GUID_NAME", u"MfgSystemUuid"}};
  }

  simulation::NetworkController network{machine, kServerMac};
};

constexpr char kBuilt[] = "afc3128030f611e08029001122334455";

void ExpectVariable(const Station& station, const char16_t* name, const std::string& data) {
  const simulation::Variable* const variable = station.machine.variables.Find(name, kMfgVendor);
  ASSERT_NE(variable, nullptr);
  EXPECT_EQ(variable->attributes, 7u);
  EXPECT_EQ(Hexadecimal(variable->data), data);
}

TEST(WriteMfgSystemUuid, StoresANewGuidUnderItsNameInAnyCase) {
  for (const char16_t* const name : {u"MfgSystemUuid", u"mfgsystemuuid"}) {
    Builder station;
    station.library->parameters[u"MARWICK_GUID_NAME"] = name;
    EXPECT_EQ(Errors(station.Run(31)), Lines{});
    ExpectVariable(station, name, kBuilt);
  }
}

// A station whose factory left the text of an EUI-64, and which has a 1394
// controller with that EUI-64 in its registers.
struct Factory : Station {
  Factory() {
    library->parameters = {
        {u"1394_GUID_NAME", u"Mfg1394Uuid"}, {u"1394_VENDOR_ID", u"0x8086"}, {u"1394_DEVICE_ID", u"0x1234"}};
    machine.variables.Add(u"Mfg1394Uuid", TextData(u"0011223344556677"), kOldShellVendor);
    root_bridge.AddFunction(0x03050000, 0x8086, 0x1234, 0xFE00000C);
    root_bridge.AddRegister(0xFE000024, 0x00112233);
    root_bridge.AddRegister(0xFE000028, 0x44556677);
  }

  simulation::RootBridge root_bridge{machine};
};

TEST(WriteMfg1394Uuid, TakesWhatTheShellVariableHolds) {
  // What is stored has the low half first.
  const std::pair<std::u16string, const char*> cases[] = {
      {u"0011223344556677", "3322110077665544"},
      {u"1", "0000000001000000"},
      {u" 00aaBBccDDeeFF99 rest", "ccbbaa0099ffeedd"},
      {u"0x12", "0000000000000000"},
      {std::u16string(54, u'0') + u"0011223344556677", "3322110077665544"},
  };
  for (const auto& [text, stored] : cases) {
    SCOPED_TRACE(stored);
    Factory station;
    station.machine.variables.variables[0].data = TextData(text);
    EXPECT_EQ(Errors(station.Run(32)), Lines{});
    ExpectVariable(station, u"Mfg1394Uuid", stored);
  }
}

TEST(Verify1394Uuid, OneIdMayBeZero) {
  Factory station;
  station.library->parameters[u"1394_VENDOR_ID"] = u"0";
  station.root_bridge.AddFunction(0x00010000, 0, 0x1234, 0xFE000000);
  EXPECT_EQ(Errors(station.Run(33)), Lines{});
}

// No line asks for it.
TEST(WriteMfg1394Uuid, AProbeAsksWhetherTheVariableIsTheFactorys) {
  const std::pair<const char16_t*, bool> names[] = {{u"MFG1394UUID", true}, {u"NO", false}, {u"YES", false}};
  for (const auto& [name, applies] : names) {
    Factory station;
    station.library->parameters[u"1394_GUID_NAME"] = name;
    station.Bind();
    EXPECT_EQ(mfgtest::WriteMfg1394Uuid(mfgtest::Mode::kProbe), applies);
    EXPECT_EQ(Only({"LogMessage", "ReportError"}, station.Transcript()), Lines{});
    station.library->parameters.clear();
    EXPECT_FALSE(mfgtest::WriteMfg1394Uuid(mfgtest::Mode::kProbe));
    EXPECT_EQ(Only({"LogMessage"}, station.Transcript()), Lines{Log(R"(\r\n1394_GUID_NAME parameter not found.\r\n)")});
  }
}

}  // namespace
