// SPDX-License-Identifier: BSD-2-Clause-Patent
// Each test on the standard server, with one thing that is missing, wrong or
// refused: the errors that come of it.
#include <optional>

#include "tests/changes.h"
#include "tests/faults_fail_tests.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::ReferenceServer;
using simulation::SmbiosTable;

constexpr EFI_GUID kShell = simulation::kShellVariableGuid;
constexpr EFI_GUID kMfgVendor = {0xEC87D643, 0xEBA4, 0x4BB5, {0xA1, 0xE5, 0x3F, 0x3E, 0x36, 0xB2, 0x0D, 0xA9}};
constexpr EFI_GUID kOldShell = {0x47C7B224, 0xC42A, 0x11D2, {0x8E, 0x57, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};

void Ipmi(ReferenceServer& s) { s.ipmi.reset(); }
void Networks(ReferenceServer& s) { s.networks.clear(); }
void Flash(ReferenceServer& s) { s.station.library->parameters[u"READ_GUID_METHOD"] = u"flash"; }
void Store(ReferenceServer& s) {
  Flash(s);
  s.guid_store.emplace(s.station.machine).read_status = EFI_DEVICE_ERROR;
}

std::string NoParameter(const std::string& name) { return Error(1, R"(\r\nFailed to get param: )" + name + R"(\r\n)"); }
std::string NoFlashGuid(const std::string& reason) {
  return Error(18, R"(Failed to read GUID from the Flash.\r\n)" + reason + R"(\r\n)");
}
// Kept: the messages of most structures name the system's.
std::string NoStructure(unsigned type, const std::string& end) {
  return Error(3, R"(\nFailed to get SMBIOS System Structure.\nNo Structure Type )" + std::to_string(type) +
                      R"(, Index 0, found.\n)" + end);
}
std::string WrongVersion(const std::string& guid, const std::string& version) {
  return Error(10, "Guid (method=" + guid +
                       R"(}\n  Guid Version failed (xxxxxxxx-xxxx-Vxxx-xxxx-xxxxxxxxxxxx):\n  Required:1,  Received:)" +
                       version + R"(\n)");
}
std::string WrongEui64(const std::string& expected, const std::string& received) {
  return Error(7,
               R"(\r\nVerify 1394 GUID test failed. Expected: 0x)" + expected + " Received: 0x" + received + R"(\r\n)");
}

const std::string kNoEntryPoint =
    Error(2, R"(\nFailed to get SMBIOS Table Entry Point.\nUnable to find SMBIOS table entry point.\n)");
const std::string kNoIpmi = Error(23, R"(Failed to locate IPMI protocol. Make sure IPMI.EFI is loaded.\n)");
const std::string kNotTheFactorys =
    Error(1, R"(\r\nInvalid value for MARWICK_GUID_NAME, MARWICK_GUID_NAME should set to 'MfgSystemUuid'.\r\n)");
const std::string kNot1394 =
    Error(1, R"(\r\nInvalid value for 1394_GUID_NAME, 1394_GUID_NAME should be set to 'Mfg1394Uuid'.\r\n)");
const std::string kNoEui64 = Error(1, R"(\r\nFailed to get Mfg1394Uuid env variable.\r\n)");
const std::string kUuidNotSet = Error(20, R"(\nFailed to Set MfgSystemUuid NV Variable.\n)");
const std::string k1394NotSet = Error(20, R"(\nFailed to Set Mfg1394Uuid NV Variable.\n)");
const std::string kNoDevice =
    Error(7, R"(\r\nFailed to locate the PCI device with Vendor ID: 0x104c and Device ID: 0x0000.\r\n)");

const Change kUuid = With(u"MARWICK_GUID_NAME", u"MfgSystemUuid");

const struct {
  std::uint32_t test;
  Change change;
  Lines errors;
} kFailures[] = {
    {1, WithoutStructure(1), {NoStructure(1, R"(\n)")}},
    {5, WithoutStructure(2), {NoStructure(2, R"(\n)")}},
    {9, WithoutStructure(3), {NoStructure(3, R"(\n)")}},
    {10, WithoutStructure(3), {NoStructure(3, R"(\n)")}},

    {14, Without(u"READ_GUID_METHOD"), {Error(1, R"(Failed to get param:READ_GUID_METHOD\r\n)")}},
    {14, WithoutMemoryFor(16), {Error(16, R"(Failed to allocate memory for the GUID\r\n)")}},
    {14,
     WithoutStructure(1),
     {Error(3, R"(Failed to get SMBIOS System Structure.\r\nNo Structure Type 1, Index 0, found.\n\r\n)")}},
    {14,
     WithTable(SmbiosTable().Add(1, 0, {1, 0, 0, 0}, {"A"})),
     {WrongVersion("SMBIOS): {00000000-0000-0000-0000-000000000000", "0")}},
    {14,
     And(Flash, With(u"GuidOffsetFlash", u"0xFFEF")),
     {WrongVersion("flash): {e0123456-789a-bc11-df8a-bc0011223344", "b")}},
    {14,
     And(Flash, Without(u"FlashAddress")),
     {NoParameter("FlashAddress"), NoFlashGuid("Failed to get param: FlashAddress")}},
    // Kept: it is named as the writing test names it.
    {14,
     And(Flash, Without(u"GuidOffsetFlash")),
     {NoParameter("GuidOffsetInFlash"), NoFlashGuid("Failed to get param: GuidOffsetInFlash")}},
    {14, Store, {NoFlashGuid("Error in Reading Sysid. Code: 0x00000007")}},
    {14,
     And(Store, NobodyGets(kManufacturingInterfaceProtocolGuid)),
     {NoFlashGuid("Error locating Mfg Interface. Code: 0x0000000F")}},
    {14,
     And(Flash, FoundNowhere(kManufacturingInterfaceProtocolGuid)),
     {NoFlashGuid(R"(Error in getting manufacturing mode handles....\n)")}},

    {20, WithoutEntryPoint, {kNoEntryPoint}},
    {21, WithoutStructure(1), {NoStructure(1, "")}},
    {22, WithoutEntryPoint, {kNoEntryPoint}},
    {23, WithoutStructure(2), {NoStructure(2, "")}},
    {24, WithoutStructure(0), {NoStructure(0, "")}},
    {25, WithoutStructure(3), {NoStructure(3, "")}},

    {27, Networks, {Error(6, R"(\nFailed to locate SNP protocol. Status=0xe\n)")}},
    {27, NobodyGets(simulation::kSimpleNetworkGuid), {Error(6, R"(\nNo SNP Interface. Status=0xf\n)")}},
    {27, [](auto& s) { s.networks.back().Mode = nullptr; }, {Error(6, R"(\nNo SNP Interface. Status=0x3\n)")}},
    {27,
     [](auto& s) { s.networks.back().start_status = EFI_TIMEOUT; },
     {Error(6, R"(\nFailed to start SNP driver. Status=0x12\n)")}},

    {29,
     WithoutStructure(1),
     {Error(3, R"(\nFailed to get SMBIOS System Structure.\nNo Structure Type 1, Index 0, found.\n)")}},
    {29,
     [](auto& s) { s.station.shell->command_status = EFI_OUT_OF_RESOURCES; },
     {Error(20, R"(\nFailed to Set Env Variable.\n)")}},
    {29,
     NobodyGets(kShellEnvironmentProtocolGuid),
     {Error(20, R"(\nFailed to Set Env Variable.\nFailed to get handle to ShellEnvProtocol.)")}},

    {30, Without(u"FlashAddress"), {NoParameter("FlashAddress")}},
    {30, Without(u"GuidOffsetInFlash"), {NoParameter("GuidOffsetInFlash")}},

    {31, Without(u"MARWICK_GUID_NAME"), {NoParameter("MARWICK_GUID_NAME")}},
    {31, With(u"MARWICK_GUID_NAME", u"MfgUuid"), {kNotTheFactorys}},
    {31, With(u"MARWICK_GUID_NAME", u"MfgSystemUuid2"), {kNotTheFactorys}},
    {31, With(u"MARWICK_GUID_NAME", u"Mfg1394Uuid"), {kNotTheFactorys}},
    {31,
     And(kUuid, With(u"NIC_Index", u"7")),
     {Error(12,
            R"(\r\nFailed to build GUID.\nNIC_Index cannot be greater than total numbers of handles found, 2.\r\n)")}},
    {31, And(kUuid, WriteProtectedVariables), {kUuidNotSet}},
    {31,
     And(kUuid, UnreadableVariable(u"MfgSystemUuid", kMfgVendor)),
     {Error(1, R"(\r\nMfgSystemUuid NV Variable not found.\r\n)"), kUuidNotSet}},

    {32, Without(u"1394_GUID_NAME"), {NoParameter("1394_GUID_NAME")}},
    {32, With(u"1394_GUID_NAME", u"MfgSystemUuid"), {kNot1394}},
    {32, WithoutVariables(), {kNoEui64}},
    // A modern shell's variable.
    {32, WithVariable(u"Mfg1394Uuid", u"0011223344556677", kShell), {kNoEui64}},
    {32, WithVariable(u"Mfg1394Uuid", std::u16string(55, u'0') + u"0011223344556677", kOldShell), {kNoEui64}},
    {32, WithoutMemoryFor(8), {Error(16, R"(Failed to allocate memory for the EUI64\r\n)")}},
    {32, WriteProtectedVariables, {k1394NotSet}},
    {32,
     UnreadableVariable(u"Mfg1394Uuid", kMfgVendor),
     {Error(1, R"(\r\nMfg1394Uuid NV Variable not found.\r\n)"), k1394NotSet}},

    {33, Without(u"1394_GUID_NAME"), {NoParameter("1394_GUID_NAME")}},
    {33, With(u"1394_GUID_NAME", u"MfgSystemUuid"), {kNot1394}},
    {33, WithVariable(u"Mfg1394Uuid", u"0011223344556677", kShell), {kNoEui64}},
    {33, Without(u"1394_DEVICE_ID"), {NoParameter("1394_DEVICE_ID")}},
    {33, Without(u"1394_VENDOR_ID"), {NoParameter("1394_VENDOR_ID")}},
    {33,
     And(With(u"1394_DEVICE_ID", u"0"), With(u"1394_VENDOR_ID", u"0")),
     {Error(7, R"(\r\nInvalid Vendor ID: 0x0000 and Device ID: 0x0000.\r\n)")}},
    // One of them may be zero.
    {33, With(u"1394_DEVICE_ID", u"0"), {kNoDevice}},
    {33,
     [](auto& s) { s.root_bridge.AddRegister(0xFEC10028, 0x44556678); },
     {WrongEui64("0011223344556677", "0011223344556678")}},
    {33,
     WithVariable(u"Mfg1394Uuid", u"4455667700112233", kOldShell),
     {WrongEui64("4455667700112233", "0011223344556677")}},
    {33, [](auto& s) { s.root_bridge.memory.erase(0xFEC10024); }, {Error(7, R"(\r\nFailed to get GUID_Hi.\r\n)")}},
    {33, [](auto& s) { s.root_bridge.memory.erase(0xFEC1002B); }, {Error(7, R"(\r\nFailed to get GUID_Lo.\r\n)")}},

    {34, Ipmi, {kNoIpmi}},
    {34, Without(u"MFG_DATE"), {NoParameter("MFG_DATE")}},

    {35,
     WithoutEntryPoint,
     {Error(2, R"(SMBIOS Table not found with GUID, trying memory search\n)"),
      Error(3, R"(Unable to find SMBIOS table entry point\n)")}},
    {35, Without(u"BIOS_ID"), {NoParameter("BIOS_ID")}},
    {35, And(With(u"BIOS_ID", u"wrong"), Without(u"OEM_TABLE_ID")), {NoParameter("OEM_TABLE_ID")}},
    {35, With(u"BIOS_ID", std::u16string(50, u'x')), {NoParameter("BIOS_ID")}},
    {35, With(u"OEM_TABLE_ID", u"0123456789"), {NoParameter("OEM_TABLE_ID")}},
    {35,
     And(With(u"BIOS_ID", u"r01.00x64"), With(u"OEM_TABLE_ID", u"OTHER")),
     {Error(27, R"(\r\nBIOS ID check failed. Expected: r01.00x64 Received: R01.00x64\r\n)")}},
    {35,
     With(u"OEM_TABLE_ID", u"EXTBL1  "),
     {Error(27, R"(\r\nOEM TABLE ID check failed. Expected: EXTBL1   Received: EXTBL1\r\n)")}},

    {36, Without(u"Memory1_DeviceLocator"), {NoParameter("Memory1_DeviceLocator")}},
    {36, Without(u"Memory1_BankLocator"), {NoParameter("Memory1_BankLocator")}},
    {36, Without(u"Memory1_Speed"), {NoParameter("Memory1_Speed")}},
    {36, Without(u"Memory1_Size"), {NoParameter("Memory1_Size")}},

    {37, WithoutStructure(15), {NoStructure(15, R"(\n)")}},

    {38, Ipmi, {kNoIpmi}},
    {38, Without(u"SYS_BD_MFG_DATE"), {NoParameter("SYS_BD_MFG_DATE")}},
    {38, Without(u"SYS_BD_FRU_ID"), {NoParameter("SYS_BD_FRU_ID")}},
    {38, Without(u"HSBP"), {NoParameter("HSBP")}},

    {39, Ipmi, {kNoIpmi}},
    {39, Without(u"SYS_BD_FRU_ID"), {Error(1, R"(Failed to get param: SYS_BD_FRU_ID\r\n)")}},
    {39, Without(u"HSBP"), {Error(1, R"(Failed to get param: HSBP\r\n)")}},

    {40, WithoutStructure(11), {NoStructure(11, R"(\n)")}},
    {40, Without(u"OEM_BIOS_String"), {Error(1, R"(\nFailed to get param:OEM_BIOS_String\n)")}},
    {40,
     With(u"OEM_BIOS_String", std::u16string(128, u'x')),
     {Error(1, R"(\nFailed to get param:OEM_BIOS_String. \nBuffer too small, buffer size must < 128.\n)")}},
    {40,
     With(u"OEM_BIOS_String", std::u16string(127, u'x')),
     {Error(4, R"(\nOEM_BIOS_String mismatched. \nExp: \"BUILD 7\"\nRec: \")" + std::string(127, 'x') + R"(\"\n)")}},

    {43, Ipmi, {kNoIpmi}},
};

TEST(Failures, AreReportedInTheirWords) {
  for (const auto& failure : kFailures) {
    SCOPED_TRACE(std::to_string(failure.test) + testing::PrintToString(failure.errors));
    const simulation::ReferenceRun run{failure.test, ""};
    ReferenceServer server(run);
    // Kept: a GUID that cannot be read keeps its buffer.
    server.station.kept_blocks = failure.test == 14 ? 1 : 0;
    failure.change(server);
    EXPECT_EQ(Errors(server.Run()), failure.errors);
  }
}

}  // namespace
