#include "simulation/reference_server.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "simulation/controller_file.h"
#include "simulation/text.h"

namespace simulation {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Parameters = std::map<std::u16string, std::u16string>;

// Version 1, made in 2010, of the controller with the MAC address behind it.
constexpr std::array<std::uint8_t, 16> kSystemGuid = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0x11, 0xDF,
                                                      0x8A, 0xBC, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
constexpr std::array<std::uint8_t, 6> kMac = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
constexpr std::array<std::uint8_t, 6> kOtherMac = {0x00, 0x11, 0x22, 0x33, 0x44, 0x56};
constexpr std::uint32_t kGuidOffset = 0xFFF0;

constexpr EFI_GUID kGlobalVariableGuid = EFI_GLOBAL_VARIABLE;
constexpr EFI_GUID kOldShellVariableGuid = {
    0x47C7B224, 0xC42A, 0x11D2, {0x8E, 0x57, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};

constexpr EFI_GUID kMfgVariableGuid = {0xEC87D643, 0xEBA4, 0x4BB5, {0xA1, 0xE5, 0x3F, 0x3E, 0x36, 0xB2, 0x0D, 0xA9}};

constexpr std::uint32_t kLogAddress = 0xFED10000;
constexpr std::uint8_t kLogStart = 0x10;
constexpr std::array<std::uint8_t, 16> kLoggedEvent = {0x01, 0x10, 0x26, 0x11, 0x21, 0x07, 0x59, 0x01,
                                                       0x01, 0x02, 0x00, 0x03, 0x14, 0x05, 0x00, 0x00};

// The IEEE 1394 controller and its EUI-64 registers.
constexpr std::uint64_t kBusController = 0x00040000;
constexpr std::uint32_t kBusRegisters = 0xFEC10000;
constexpr std::uint32_t kGuidHigh = 0x00112233;
constexpr std::uint32_t kGuidLow = 0x44556677;
constexpr const char16_t* kEui64 = u"0011223344556677";

std::string ReadText(const char* path) {
  std::ifstream file(std::string(SOURCE_FOLDER "/") + path);
  if (!file) throw std::runtime_error(std::string("cannot read ") + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string Trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(' ');
  return first == text.npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The demonstration server's file, and what it leaves to servers that have more.
const Parameters& StationParameters() {
  static const Parameters parameters = [] {
    Parameters all = {{u"GuidOffsetInFlash", u"0xFFF0"}, {u"GuidOffsetFlash", u"0xFFF0"},
                      {u"MACADDR00", u"0x001122"},       {u"1394_VENDOR_ID", u"0x104C"},
                      {u"1394_DEVICE_ID", u"0x8024"},    {u"Event_Mask_00", u"51403000201"}};
    std::istringstream lines(ReadText("qemu/demonstration/mfgtest.cfg"));
    for (std::string line; std::getline(lines, line);) {
      const std::size_t equals = line.find('=');
      if (line.starts_with('#') || equals == line.npos) continue;
      all[Widen(Trimmed(line.substr(0, equals)))] = Widen(Trimmed(line.substr(equals + 1)));
    }
    return all;
  }();
  return parameters;
}

// Puts little-endian values into the formatted area of a structure.
struct Fields {
  explicit Fields(std::size_t length, Bytes first = {}) : bytes(std::move(first)) { bytes.resize(length - 4); }
  Fields& Put(std::size_t offset, std::uint64_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) bytes[offset - 4 + i] = static_cast<std::uint8_t>(value >> (8 * i));
    return *this;
  }
  Bytes bytes;
};

void AddIdentity(SmbiosTable& table) {
  Fields system(0x1B, {1, 2, 3, 4});
  std::ranges::copy(kSystemGuid, system.bytes.begin() + 4);
  Fields board(0x0F, {1, 2, 3, 4});
  Fields chassis(0x16, {1, 1, 2, 3, 4});
  table.Add(0, 0x0000, Fields(0x18, {1, 2, 0, 0xE0, 3}).bytes, {"Example Firmware", "R01.00 (x64)", "04/01/2014"})
      .Add(1, 0x0100, system.bytes, {"Example Systems, Inc.", "Rack Server 2U", "RS2U-0042-A", "SN-0000001"})
      .Add(2, 0x0200, board.bytes, {"Example Boards", "Main Board", "MB-0007-C", "BSN-0000002"})
      .Add(3, 0x0300, chassis.bytes, {"Example Sheet Metal", "CH-0019-B", "CSN-0000003", "Asset 4711"})
      .Add(11, 0x0B00, {1}, {"BUILD 7"});
}

void AddEventLog(SmbiosTable& table, RootBridge& bridge) {
  Fields log(0x1B);
  log.Put(0x04, 0x100, 2).Put(0x08, kLogStart, 2).Put(0x0A, 0x0103, 2).Put(0x10, kLogAddress, 4);
  log.Put(0x14, 0x020201, 3).Put(0x17, 0x00810001, 4);
  table.Add(15, 0x0F00, log.bytes);
  for (unsigned i = 0; i < 256; ++i) {
    const unsigned in_record = i - kLogStart;
    bridge.memory[kLogAddress + i] = in_record < kLoggedEvent.size() ? kLoggedEvent[in_record] : 0xFF;
  }
}

void AddMemory(SmbiosTable& table) {
  const struct {
    std::uint16_t size, speed;
    const char *locator, *bank;
  } devices[] = {{4096, 1333, "DIMM_A1", "NODE 1"}, {4096, 1333, "DIMM_B1", "NODE 2"}, {0, 0, "DIMM_B2", "NODE 2"}};
  table.Add(16, 0x1000, Fields(0x0F, {3, 3, 3}).Put(0x0D, std::size(devices), 2).bytes);
  std::uint16_t handle = 0x1100;
  for (const auto& device : devices) {
    Fields fields(0x1B);
    fields.Put(0x0C, device.size, 2).Put(0x10, 0x0201, 2).Put(0x15, device.speed, 2);
    table.Add(17, handle++, fields.bytes, {device.locator, device.bank});
  }
}

void AddVariables(VariableStore& variables) {
  variables.Add(u"Nic2MacAddress", TextData(u"001122334456"), kGlobalVariableGuid);
  variables.Add(u"Mfg1394Uuid", TextData(kEui64), kOldShellVariableGuid);
  // A board that was programmed before.
  variables.Add(u"MfgSystemUuid", Bytes(16, 0xEE), kMfgVariableGuid);
  variables.Add(u"Mfg1394Uuid", Bytes(8, 0xEE), kMfgVariableGuid);
  variables.Add(u"SERIAL", TextData(u"SN-0000001"));
  variables.Add(u"PLANE", TextData(u"SAS Plane X8"));
  variables.Add(u"PLANE_SERIAL", TextData(u"HSN-00000005"));
  variables.Add(u"PLANE_PART", TextData(u"BP-0008-AA"));
}

}  // namespace

std::span<const ReferenceRun> ReferenceRuns() {
  static const ReferenceRun runs[] = {
      {0, "Autosense"},
      {0, "Autosense, GUID in a variable", {{u"MARWICK_GUID_NAME", u"MfgSystemUuid"}, {u"READ_GUID_METHOD", u"FLASH"}}},
      {1, "system manufacturer"},
      {2, "system product"},
      {3, "system part number"},
      {4, "system serial number"},
      {4, "system serial number, by variable", {{u"System_Serial_Number", u"env=SERIAL"}}},
      {5, "board manufacturer"},
      {6, "board product"},
      {7, "board part number"},
      {8, "board serial number"},
      {9, "chassis manufacturer"},
      {10, "chassis type"},
      {11, "chassis part number"},
      {12, "chassis serial number"},
      {13, "chassis asset tag"},
      {14, "GUID from SMBIOS"},
      {14,
       "GUID from flash, OUI list",
       {{u"READ_GUID_METHOD", u"FLASH"}, {u"VERIFY_MACADDR_AGAINST", u"MACADDR_LIST"}}},
      {14, "GUID from the interface", {{u"READ_GUID_METHOD", u"FLASH"}}, {}, true},
      {14, "GUID from SMBIOS, any OUI", {{u"VERIFY_MACADDR_AGAINST", u"ANY"}}},
      {20, "entry point"},
      {21, "system information"},
      {22, "structures", {}, {u"", u"", u"S"}},
      {23, "board information"},
      {24, "BIOS information"},
      {25, "chassis information"},
      {26, "nothing"},
      {27, "MAC addresses"},
      {28, "new GUID into flash"},
      {28, "new GUID of a variable's MAC into flash", {{u"NicMacAddress", u"1"}, {u"RandomSeed", u"1"}}},
      {28,
       "given GUID into flash",
       {{u"SPECIFY_A_GUID", u"YES"}, {u"GUID_TO_WRITE", u"12345678-9abc-11df-8abc-001122334455"}}},
      {28, "new GUID through the interface", {}, {}, true},
      {29, "GUID into the environment"},
      {30, "GUID in flash"},
      {31, "new GUID into a variable", {{u"MARWICK_GUID_NAME", u"MfgSystemUuid"}}},
      {32, "1394 GUID into a variable"},
      {33, "1394 GUID"},
      {34, "manufacturing date"},
      {35, "BIOS ID"},
      {36, "memory devices"},
      {36, "memory devices, with tolerance", {{u"Memory_Speed_Tolerance", u"10"}, {u"Memory0_Speed", u"1326"}}},
      {37, "event log"},
      {38, "board's date"},
      {38, "board's date, primary backplane", {{u"HSBP", u"1"}}},
      {38, "board's date, secondary backplane", {{u"HSBP", u"2"}, {u"BOARD_AREA_OFFSET", u"3"}}},
      {39, "FRU strings"},
      {39,
       "FRU strings, by variables, second name table",
       {{u"SYS_BOARDS_PRODUCT_NAME", u"env=PLANE"},
        {u"SYS_BOARDS_SERIAL_NUMBER", u"env=PLANE_SERIAL"},
        {u"SYS_BOARDS_PART_NUMBER", u"env=PLANE_PART"}},
       {},
       false,
       11},
      {39,
       "FRU strings of a supply",
       {{u"SYS_BD_FRU_ID", u"2"},
        {u"SYS_BOARDS_MANUFACTURER_NAME", u"Example Power"},
        {u"SYS_BOARDS_PRODUCT_NAME", u"Supply 750 W"},
        {u"SYS_BOARDS_SERIAL_NUMBER", u"PSN-0002"}}},
      {40, "OEM string"},
      {41, "board records"},
      {42, "backplane records"},
      {43, "end markers"},
  };
  return runs;
}

const std::string& ReferenceController() {
  static const std::string text = ReadText("simulation/server.machine") + "\n";
  return text;
}

ReferenceServer::ReferenceServer(const ReferenceRun& wanted, const NewerFirmware& newer)
    : run(wanted), acpi(station.machine, {.oem_table_id = "EX-TBL 1", .is_xsdt = newer.acpi}) {
  static const ManagementController parsed = ParseController(ReferenceController());
  controller = parsed;
  if (newer.ipmi) {
    firmware_ipmi.emplace(station.machine, controller);
  } else {
    ipmi.emplace(station.machine, controller);
  }
  if (newer.smbios) station.smbios_placement.entry = SmbiosPlacement::Entry::kListedFor64Bits;
  AddIdentity(station.smbios);
  AddEventLog(station.smbios, root_bridge);
  AddMemory(station.smbios);
  // A KCS interface at I/O ports 0xCA2 and 0xCA3.
  station.smbios.Add(38, 0x2600, Fields(0x12, {1, 0x20, 0x20, 0xFF}).Put(0x08, 0xCA3, 8).bytes);
  station.smbios.Add(127, 0x7F00, {});
  AddVariables(station.machine.variables);
  for (const auto& mac : {kMac, kOtherMac}) networks.emplace_back(station.machine, mac);
  root_bridge.AddFunction(kBusController, 0x104C, 0x8024, kBusRegisters);
  root_bridge.AddRegister(kBusRegisters + 0x24, kGuidHigh);
  root_bridge.AddRegister(kBusRegisters + 0x28, kGuidLow);
  flash.Program(kGuidOffset, kSystemGuid);
  if (run.has_guid_store) guid_store.emplace(station.machine).guid = kSystemGuid;
  controller.oem_code = run.oem_code;
  station.machine.time.Year = 2010;
  station.machine.time.Month = 5;
  station.machine.time.Day = 6;

  Recorder& library = *station.library;
  library.parameters = run.parameters;
  library.parameters.insert(StationParameters().begin(), StationParameters().end());
  library.parameters[u"FlashAddress"] = Widen(std::to_string(flash.Address()));
  library.answers = {run.answers.begin(), run.answers.end()};
}

}  // namespace simulation
