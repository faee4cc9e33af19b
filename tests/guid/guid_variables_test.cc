// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "guid/guid_variables.h"

#include <cstring>
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

// A complaint, and what was done to a station for it.
struct Failure {
  const char* name;
  void (*prepare)(Station& station);
  Lines errors;
};

TEST(CopyGuidToEnvironment, SetsAShellVariable) {
  Station station;
  station.smbios = TableWithGuid(kServerGuid);
  EXPECT_EQ(Merged(station.Run(29)),
            (Lines{"Initialize -> 0 test 29",
                   R"(DebugPrint 1 "Raw Flash GUID = 12 34 56 78 9a bc 11 df 8a bc 00 11 22 33 44 55 \r\n")",
                   R"(DisplayPrint "Raw GUIDStr=123456789abc11df8abc001122334455\n")",
                   R"(GetParamString "GUID_ENV_VARIABLE" 128 -> 1)",
                   R"(LogMessage "\nNo GUID_ENV_VARIABLE was specified. Using 'GUID'.\n")", "EndTest"}));
  station.library->parameters[u"GUID_ENV_VARIABLE"] = u"SysGuid";
  EXPECT_EQ(Only({"LogMessage", "ReportError"}, station.Run(29)), Lines{});
  ASSERT_EQ(station.shell->commands.size(), 2u);
  EXPECT_EQ(station.shell->commands[0].line, u"set \"GUID\" \"123456789abc11df8abc001122334455\"");
  EXPECT_EQ(station.shell->commands[1].line, u"set \"SysGuid\" \"123456789abc11df8abc001122334455\"");
}

TEST(CopyGuidToEnvironment, ReportsItsFailures) {
  const Failure failures[] = {
      {"no system structure",
       [](Station& s) {
         s.smbios = {};
         s.smbios.Add(2, 0, {});
       },
       {R"(ReportError 3 "\nFailed to get SMBIOS System Structure.\nNo Structure Type 1, Index 0, found.\n")"}},
      {"the shell refuses",
       [](Station& s) { s.shell->command_status = EFI_OUT_OF_RESOURCES; },
       {R"(ReportError 20 "\nFailed to Set Env Variable.\n")"}},
      {"no way to the shell",
       [](Station& s) { s.machine.handles.RefuseInterface(kShellEnvironmentProtocolGuid, EFI_ACCESS_DENIED); },
       {R"(ReportError 20 "\nFailed to Set Env Variable.\nFailed to get handle to ShellEnvProtocol.")"}},
  };
  for (const Failure& failure : failures) {
    SCOPED_TRACE(failure.name);
    Station station;
    station.smbios = TableWithGuid(kServerGuid);
    failure.prepare(station);
    EXPECT_EQ(Errors(station.Run(29)), failure.errors);
  }
}

TEST(DumpFlashGuid, ShowsSixteenBytes) {
  Station station;
  simulation::Flash flash(station.machine);
  flash.Program(0xFFF0, kServerGuid);
  station.library->parameters[u"FlashAddress"] = Widen(std::to_string(flash.Address()));
  EXPECT_EQ(Errors(station.Run(30)), Lines{R"(ReportError 1 "\r\nFailed to get param: GuidOffsetInFlash\r\n")"});
  station.library->parameters[u"GuidOffsetInFlash"] = u"0xFFF0";
  std::array<char, 80> head;
  std::snprintf(head.data(), head.size(), "LogMessage \"Flash memory values at %08x: ", flash.Address() + 0xFFF0);
  const Lines lines = Merged(station.Run(30));
  EXPECT_EQ(lines.at(3), head.data() + std::string(R"(12 34 56 78 9a bc 11 df 8a bc 00 11 22 33 44 55 \r\n")"));
  station.library->parameters.erase(u"FlashAddress");
  EXPECT_EQ(Errors(station.Run(30)), Lines{R"(ReportError 1 "\r\nFailed to get param: FlashAddress\r\n")"});
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
  const Lines lines = station.Run(31);
  ExpectVariable(station, u"MfgSystemUuid", kBuilt);
  EXPECT_EQ(lines[1], R"(DebugPrint 1 "Creating a GUID.\r\n")");
  const auto built = std::ranges::find(lines, R"(DebugPrint 1 "GUID in Byte Array: ")");
  EXPECT_EQ(
      Merged({built, lines.end()}),
      (Lines{
          R"(DebugPrint 1 "GUID in Byte Array: af c3 12 80 30 f6 11 e0 80 29 00 11 22 33 44 55 \r\n")",
          R"(DebugPrint 8 "GUID in EFI_GUID: 8012c3af-f630-e011-8029-001122334455")", R"(DebugPrint 1 "\r\n")",
          R"(DebugPrint 8 "Set to NV Variable...\n")", R"(GetParamString "MARWICK_GUID_NAME" 50 -> 0 "MfgSystemUuid")",
          R"(DebugPrint 8 "Getting MfgSystemUuid NV variable...\nMfgSystemUuid: af c3 12 80 30 f6 11 e0 80 29 00 11 22 33 44 55 \n")",
          "EndTest"}));
}

TEST(WriteMfgSystemUuid, TakesItsNameInAnyCase) {
  Builder station;
  station.library->parameters[u"MARWICK_GUID_NAME"] = u"mfgsystemuuid";
  EXPECT_EQ(Errors(station.Run(31)), Lines{});
  ExpectVariable(station, u"mfgsystemuuid", kBuilt);
}

TEST(WriteMfgSystemUuid, ReportsItsFailures) {
  const std::string invalid =
      R"(ReportError 1 "\r\nInvalid value for MARWICK_GUID_NAME, MARWICK_GUID_NAME should set to 'MfgSystemUuid'.\r\n")";
  const std::string not_set = R"(ReportError 20 "\nFailed to Set MfgSystemUuid NV Variable.\n")";
  const Failure failures[] = {
      {"no name",
       [](Station& s) { s.library->parameters.erase(u"MARWICK_GUID_NAME"); },
       {R"(ReportError 1 "\r\nFailed to get param: MARWICK_GUID_NAME\r\n")"}},
      {"another name", [](Station& s) { s.library->parameters[u"MARWICK_GUID_NAME"] = u"MfgUuid"; }, {invalid}},
      {"a longer name", [](Station& s) { s.library->parameters[u"MARWICK_GUID_NAME"] = u"MfgSystemUuid2"; }, {invalid}},
      {"the other variable's name",
       [](Station& s) { s.library->parameters[u"MARWICK_GUID_NAME"] = u"Mfg1394Uuid"; },
       {invalid}},
      {"no such controller",
       [](Station& s) { s.library->parameters[u"NIC_Index"] = u"7"; },
       {R"(ReportError 12 "\r\nFailed to build GUID.\nNIC_Index cannot be greater than total numbers of handles found, 1.\r\n")"}},
      {"the write fails", [](Station& s) { s.machine.variables.write_status = EFI_WRITE_PROTECTED; }, {not_set}},
      {"the read back fails",
       [](Station& s) { s.machine.variables.Add(u"MfgSystemUuid", {0}, kMfgVendor).read_status = EFI_DEVICE_ERROR; },
       {R"(ReportError 1 "\r\nMfgSystemUuid NV Variable not found.\r\n")", not_set}},
  };
  for (const Failure& failure : failures) {
    SCOPED_TRACE(failure.name);
    Builder station;
    failure.prepare(station);
    EXPECT_EQ(Errors(station.Run(31)), failure.errors);
    const bool is_stored = station.machine.variables.Find(u"MfgSystemUuid", kMfgVendor) != nullptr;
    EXPECT_EQ(is_stored, failure.name == std::string("the read back fails"));
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

TEST(WriteMfg1394Uuid, StoresTheHalvesExchanged) {
  Factory station;
  const GuidBytes stored = {0x33, 0x22, 0x11, 0x00, 0x77, 0x66, 0x55, 0x44};
  EXPECT_EQ(
      Merged(station.Run(32)),
      (Lines{
          "Initialize -> 0 test 32", R"(GetParamString "1394_GUID_NAME" 50 -> 0 "Mfg1394Uuid")",
          R"(DebugPrint 1 "Get 1394 GUID from env variable...\r\n")",
          R"(DebugPrint 8 "1394 GUID from env Variable: 0011223344556677\nSet to NV Variable...\nEUI64: 0x0011223344556677\nEUI64 after swap: 0x4455667700112233\nGUID_Hi: 00112233\nGUID_Lo: 44556677\nGetting Mfg1394Uuid NV variable...\nMfg1394Uuid: 33 22 11 00 77 66 55 44 \n")",
          "EndTest"}));
  ExpectVariable(station, u"Mfg1394Uuid", std::span(stored).first(8));
}

TEST(WriteMfg1394Uuid, TakesWhatTheShellVariableHolds) {
  const struct {
    std::u16string text;
    // The low half first; null where the text cannot be read.
    const char* stored;
  } cases[] = {
      {u"1", "0000000001000000"},
      {u" 00aaBBccDDeeFF99 rest", "ccbbaa0099ffeedd"},
      {u"0x12", "0000000000000000"},
      {std::u16string(54, u'0') + u"0011223344556677", "3322110077665544"},
      {std::u16string(55, u'0') + u"0011223344556677", nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(simulation::Readable(c.text));
    Factory station;
    station.machine.variables.variables[0].data = TextData(c.text);
    EXPECT_EQ(Errors(station.Run(32)), c.stored == nullptr
                                           ? Lines{R"(ReportError 1 "\r\nFailed to get Mfg1394Uuid env variable.\r\n")"}
                                           : Lines{});
    const auto* const variable = station.machine.variables.Find(u"Mfg1394Uuid", kMfgVendor);
    ASSERT_EQ(variable != nullptr, c.stored != nullptr);
    EXPECT_EQ(variable == nullptr ? "" : Hexadecimal(variable->data), c.stored == nullptr ? "" : c.stored);
  }
}

// Of the name and the shell variable, which the two 1394 tests share.
const Failure k1394Failures[] = {
    {"no name",
     [](Station& s) { s.library->parameters.erase(u"1394_GUID_NAME"); },
     {R"(ReportError 1 "\r\nFailed to get param: 1394_GUID_NAME\r\n")"}},
    {"another name",
     [](Station& s) { s.library->parameters[u"1394_GUID_NAME"] = u"MfgSystemUuid"; },
     {R"(ReportError 1 "\r\nInvalid value for 1394_GUID_NAME, 1394_GUID_NAME should be set to 'Mfg1394Uuid'.\r\n")"}},
    {"no shell variable",
     [](Station& s) { s.machine.variables.variables.clear(); },
     {R"(ReportError 1 "\r\nFailed to get Mfg1394Uuid env variable.\r\n")"}},
    {"a modern shell's variable",
     [](Station& s) { s.machine.variables.variables[0].vendor = simulation::kShellVariableGuid; },
     {R"(ReportError 1 "\r\nFailed to get Mfg1394Uuid env variable.\r\n")"}},
};

TEST(WriteMfg1394Uuid, ReportsItsFailures) {
  const std::string not_set = R"(ReportError 20 "\nFailed to Set Mfg1394Uuid NV Variable.\n")";
  std::vector<Failure> failures(std::begin(k1394Failures), std::end(k1394Failures));
  failures.push_back({"no memory",
                      [](Station& s) { s.machine.memory.refused_size = 8; },
                      {R"(ReportError 16 "Failed to allocate memory for the EUI64\r\n")"}});
  failures.push_back(
      {"the write fails", [](Station& s) { s.machine.variables.write_status = EFI_OUT_OF_RESOURCES; }, {not_set}});
  failures.push_back(
      {"the read back fails",
       [](Station& s) { s.machine.variables.Add(u"Mfg1394Uuid", {0}, kMfgVendor).read_status = EFI_DEVICE_ERROR; },
       {R"(ReportError 1 "\r\nMfg1394Uuid NV Variable not found.\r\n")", not_set}});
  for (const Failure& failure : failures) {
    SCOPED_TRACE(failure.name);
    Factory station;
    failure.prepare(station);
    EXPECT_EQ(Errors(station.Run(32)), failure.errors);
  }
}

TEST(Verify1394Uuid, ComparesTheRegistersWithTheShellVariable) {
  Factory station;
  Lines lines = station.Run(33);
  std::erase_if(lines, [](const std::string& line) { return line.starts_with("DebugPrint 7"); });
  EXPECT_EQ(
      Merged(lines),
      (Lines{
          "Initialize -> 0 test 33", R"(GetParamString "1394_GUID_NAME" 50 -> 0 "Mfg1394Uuid")",
          R"(GetParamNumber "1394_DEVICE_ID" -> 0 0x1234)", R"(GetParamNumber "1394_VENDOR_ID" -> 0 0x8086)",
          R"(DebugPrint 8 "Device address: 0x03050000\nBus: 0x3, Dev: 0x5, Func: 0x0, Reg: 0x0\nBARindex: 0x0, BARAddress: 0xfe00000c \nGUID_Hi: 0x00112233, GUID_Lo: 0x44556677\nEUI64: 0x0011223344556677\n")",
          R"(DebugPrint 1 "Get 1394 GUID from env variable...\r\nStrGUID: 0011223344556677\n1394GUID: 0x0011223344556677\n")",
          "EndTest"}));
}

Factory& AsFactory(Station& station) { return static_cast<Factory&>(station); }

TEST(Verify1394Uuid, ReportsItsFailures) {
  std::vector<Failure> failures(std::begin(k1394Failures), std::end(k1394Failures));
  const Failure own[] = {
      {"no device ID",
       [](Station& s) { s.library->parameters.erase(u"1394_DEVICE_ID"); },
       {R"(ReportError 1 "\r\nFailed to get param: 1394_DEVICE_ID\r\n")"}},
      {"no vendor ID",
       [](Station& s) { s.library->parameters.erase(u"1394_VENDOR_ID"); },
       {R"(ReportError 1 "\r\nFailed to get param: 1394_VENDOR_ID\r\n")"}},
      {"no IDs at all",
       [](Station& s) {
         s.library->parameters[u"1394_DEVICE_ID"] = u"0";
         s.library->parameters[u"1394_VENDOR_ID"] = u"0";
       },
       {R"(ReportError 7 "\r\nInvalid Vendor ID: 0x0000 and Device ID: 0x0000.\r\n")"}},
      {"another device",
       [](Station& s) { s.library->parameters[u"1394_DEVICE_ID"] = u"0"; },
       {R"(ReportError 7 "\r\nFailed to locate the PCI device with Vendor ID: 0x8086 and Device ID: 0x0000.\r\n")"}},
      {"the other half",
       [](Station& s) { AsFactory(s).root_bridge.AddRegister(0xFE000028, 0x44556678); },
       {R"(ReportError 7 "\r\nVerify 1394 GUID test failed. Expected: 0x0011223344556677 Received: 0x0011223344556678\r\n")"}},
      {"halves exchanged",
       [](Station& s) { s.machine.variables.variables[0].data = TextData(u"4455667700112233"); },
       {R"(ReportError 7 "\r\nVerify 1394 GUID test failed. Expected: 0x4455667700112233 Received: 0x0011223344556677\r\n")"}},
      {"no high half",
       [](Station& s) { AsFactory(s).root_bridge.memory.erase(0xFE000024); },
       {R"(ReportError 7 "\r\nFailed to get GUID_Hi.\r\n")"}},
      {"no low half",
       [](Station& s) { AsFactory(s).root_bridge.memory.erase(0xFE00002B); },
       {R"(ReportError 7 "\r\nFailed to get GUID_Lo.\r\n")"}},
  };
  failures.insert(failures.end(), std::begin(own), std::end(own));
  for (const Failure& failure : failures) {
    SCOPED_TRACE(failure.name);
    Factory station;
    failure.prepare(station);
    EXPECT_EQ(Errors(station.Run(33)), failure.errors);
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
  const char* name;
  bool (*probe)(mfgtest::Mode);
  Parameters parameters;
  bool applies;
  std::string reason{};
  Lines messages{};
};

Parameters Controller(std::initializer_list<Parameters::value_type> more) {
  Parameters parameters = {{u"1394_DEVICE_ID", u"0x1234"}, {u"1394_VENDOR_ID", u"0x8086"}};
  parameters.insert(more.begin(), more.end());
  return parameters;
}

const ProbeCase kProbes[] = {
    {"31", mfgtest::WriteMfgSystemUuid, {{u"MARWICK_GUID_NAME", u"MfgSystemUuid"}}, true},
    {"31, any case", mfgtest::WriteMfgSystemUuid, {{u"MARWICK_GUID_NAME", u"mfgsystemuuid"}}, true},
    {"31, no", mfgtest::WriteMfgSystemUuid, {{u"MARWICK_GUID_NAME", u"no"}}, false},
    {"31, another", mfgtest::WriteMfgSystemUuid, {{u"MARWICK_GUID_NAME", u"Mfg1394Uuid"}}, false},
    {"31, none",
     mfgtest::WriteMfgSystemUuid,
     {},
     false,
     "",
     {R"(LogMessage "\r\nMARWICK_GUID_NAME parameter not found.\r\n")"}},
    {"32", mfgtest::WriteMfg1394Uuid, {{u"1394_GUID_NAME", u"MFG1394UUID"}}, true},
    {"32, no", mfgtest::WriteMfg1394Uuid, {{u"1394_GUID_NAME", u"NO"}}, false},
    {"32, another", mfgtest::WriteMfg1394Uuid, {{u"1394_GUID_NAME", u"YES"}}, false},
    {"32, none",
     mfgtest::WriteMfg1394Uuid,
     {},
     false,
     "",
     {R"(LogMessage "\r\n1394_GUID_NAME parameter not found.\r\n")"}},
    {"33", mfgtest::Verify1394Uuid, Controller({{u"1394_GUID_NAME", u"mfg1394uuid"}}), true},
    {"33, no", mfgtest::Verify1394Uuid, Controller({{u"1394_GUID_NAME", u"No"}}), false, "1394_GUID_NAME is NO."},
    {"33, none", mfgtest::Verify1394Uuid, Controller({}), false, "Failed to get param: 1394_GUID_NAME."},
    {"33, no device ID",
     mfgtest::Verify1394Uuid,
     {{u"1394_VENDOR_ID", u"0x8086"}},
     false,
     "Failed to get param: 1394_DEVICE_ID."},
    {"33, no vendor ID",
     mfgtest::Verify1394Uuid,
     {{u"1394_DEVICE_ID", u"0x1234"}},
     false,
     "Failed to get param: 1394_VENDOR_ID."},
    {"33, no device",
     mfgtest::Verify1394Uuid,
     {{u"1394_DEVICE_ID", u"0x12"}, {u"1394_VENDOR_ID", u"0x34"}},
     false,
     "Failed to locate PCI device with Vendor ID: 0x0034 and Device ID: 0x0012."},
};

TEST(Autosense, AsksWhetherAVariableIsTheFactorys) {
  for (const ProbeCase& c : kProbes) {
    SCOPED_TRACE(c.name);
    Factory station;
    station.library->parameters = c.parameters;
    station.Bind();
    mfgtest::SetLastError("");
    EXPECT_EQ(c.probe(mfgtest::Mode::kProbe), c.applies);
    EXPECT_EQ(simulation::Readable(mfgtest::LastError()), c.reason);
    EXPECT_EQ(Only({"LogMessage", "ReportError", "SetResult"}, station.Transcript()), c.messages);
    EXPECT_EQ(station.machine.variables.Find(u"MfgSystemUuid", kMfgVendor), nullptr);
  }
}

}  // namespace
