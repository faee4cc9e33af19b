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
using simulation::Widen;

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

constexpr GuidBytes kBuilt = {0xAF, 0xC3, 0x12, 0x80, 0x30, 0xF6, 0x11, 0xE0,
                              0x80, 0x29, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55};

void ExpectVariable(const Station& station, const char16_t* name, std::span<const std::uint8_t> data) {
  const simulation::Variable* const variable = station.machine.variables.Find(name, kMfgVendor);
  ASSERT_NE(variable, nullptr);
  EXPECT_EQ(variable->attributes, 7u);
  EXPECT_EQ(Hexadecimal(variable->data), Hexadecimal(data));
}

TEST(WriteMfgSystemUuid, StoresANewGuid) {
  Builder station;
  EXPECT_EQ(Errors(station.Run(31)), Lines{});
  ExpectVariable(station, u"MfgSystemUuid", kBuilt);
}

TEST(WriteMfgSystemUuid, TakesItsNameInAnyCase) {
  Builder station;
  station.library->parameters[u"MARWICK_GUID_NAME"] = u"mfgsystemuuid";
  EXPECT_EQ(Errors(station.Run(31)), Lines{});
  ExpectVariable(station, u"mfgsystemuuid", kBuilt);
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
  const struct {
    std::u16string text;
    const char* stored;  // the low half first
  } cases[] = {
      {u"0011223344556677", "3322110077665544"},
      {u"1", "0000000001000000"},
      {u" 00aaBBccDDeeFF99 rest", "ccbbaa0099ffeedd"},
      {u"0x12", "0000000000000000"},
      {std::u16string(54, u'0') + u"0011223344556677", "3322110077665544"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(simulation::Readable(c.text));
    Factory station;
    station.machine.variables.variables[0].data = TextData(c.text);
    EXPECT_EQ(Errors(station.Run(32)), Lines{});
    const auto* const variable = station.machine.variables.Find(u"Mfg1394Uuid", kMfgVendor);
    ASSERT_NE(variable, nullptr);
    EXPECT_EQ(variable->attributes, 7u);
    EXPECT_EQ(Hexadecimal(variable->data), c.stored);
  }
}

TEST(Verify1394Uuid, OneIdMayBeZero) {
  Factory station;
  station.library->parameters[u"1394_VENDOR_ID"] = u"0";
  station.root_bridge.AddFunction(0x00010000, 0, 0x1234, 0xFE000000);
  EXPECT_EQ(Errors(station.Run(33)), Lines{});
}

using Parameters = std::map<std::u16string, std::u16string>;

struct ProbeCase {
  bool (*probe)(mfgtest::Mode);
  Parameters parameters;
  std::string outcome;  // "applies", or the reason
  Lines messages{};
};

Parameters Joined(Parameters parameters, const Parameters& more) {
  parameters.insert(more.begin(), more.end());
  return parameters;
}

const Parameters kDevice = {{u"1394_DEVICE_ID", u"0x1234"}, {u"1394_VENDOR_ID", u"0x8086"}};

const ProbeCase kProbes[] = {
    {mfgtest::WriteMfgSystemUuid, {{u"MARWICK_GUID_NAME", u"mfgsystemuuid"}}, "applies"},
    {mfgtest::WriteMfgSystemUuid, {{u"MARWICK_GUID_NAME", u"no"}}, ""},
    {mfgtest::WriteMfgSystemUuid, {{u"MARWICK_GUID_NAME", u"Mfg1394Uuid"}}, ""},
    {mfgtest::WriteMfgSystemUuid, {}, "", {Log(R"(\r\nMARWICK_GUID_NAME parameter not found.\r\n)")}},
    {mfgtest::WriteMfg1394Uuid, {{u"1394_GUID_NAME", u"MFG1394UUID"}}, "applies"},
    {mfgtest::WriteMfg1394Uuid, {{u"1394_GUID_NAME", u"NO"}}, ""},
    {mfgtest::WriteMfg1394Uuid, {{u"1394_GUID_NAME", u"YES"}}, ""},
    {mfgtest::WriteMfg1394Uuid, {}, "", {Log(R"(\r\n1394_GUID_NAME parameter not found.\r\n)")}},
    {mfgtest::Verify1394Uuid, Joined(kDevice, {{u"1394_GUID_NAME", u"mfg1394uuid"}}), "applies"},
    {mfgtest::Verify1394Uuid, Joined(kDevice, {{u"1394_GUID_NAME", u"No"}}), "1394_GUID_NAME is NO."},
    {mfgtest::Verify1394Uuid, kDevice, "Failed to get param: 1394_GUID_NAME."},
    {mfgtest::Verify1394Uuid, {}, "Failed to get param: 1394_DEVICE_ID."},
    {mfgtest::Verify1394Uuid, {{u"1394_DEVICE_ID", u"0x1234"}}, "Failed to get param: 1394_VENDOR_ID."},
    {mfgtest::Verify1394Uuid,
     {{u"1394_DEVICE_ID", u"0x12"}, {u"1394_VENDOR_ID", u"0x34"}},
     "Failed to locate PCI device with Vendor ID: 0x0034 and Device ID: 0x0012."},
};

TEST(Autosense, AsksWhetherAVariableIsTheFactorys) {
  for (const ProbeCase& c : kProbes) {
    SCOPED_TRACE(&c - kProbes);
    Factory station;
    station.library->parameters = c.parameters;
    station.Bind();
    mfgtest::SetLastError("");
    const bool applies = c.probe(mfgtest::Mode::kProbe);
    EXPECT_EQ(applies ? "applies" : simulation::Readable(mfgtest::LastError()), c.outcome);
    EXPECT_EQ(Only({"LogMessage", "ReportError", "SetResult"}, station.Transcript()), c.messages);
    EXPECT_EQ(station.machine.variables.Find(u"MfgSystemUuid", kMfgVendor), nullptr);
  }
}

}  // namespace
