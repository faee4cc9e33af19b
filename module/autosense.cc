#include "module/autosense.h"

#include <optional>
#include <span>

#include "guid/guid_variables.h"
#include "guid/system_guid.h"
#include "ipmi/backplane_records.h"
#include "ipmi/board_records.h"
#include "ipmi/board_strings.h"
#include "ipmi/manufacturing_date.h"
#include "module/last_error.h"
#include "module/report.h"
#include "module/text.h"
#include "smbios/event_log.h"
#include "smbios/firmware_id.h"
#include "smbios/memory_devices.h"
#include "smbios/structures.h"

namespace mfgtest {
namespace {

constexpr std::size_t kFields = 4;
constexpr std::size_t kPublishedCharacters = 512;
using PublishedText = std::array<char16_t, kPublishedCharacters>;

constexpr std::uint8_t kChassisTypeOffset = 0x05;
constexpr std::uint32_t kChassisTypeTest = 10;

// A string field of a structure: where its string number lies, the test that
// checks it, and the names under which it is published.
struct Field {
  std::uint8_t offset;
  std::uint32_t test;
  const char16_t* key;
  const char16_t* label;
};

// The version strings go out under the part numbers' keys: that is where the
// line programs them.
constexpr Field kSystemFields[kFields] = {
    {0x04, 1, u"System_Manufacturer", u"System manufacturer"},
    {0x05, 2, u"System_Product", u"System product"},
    {0x06, 3, u"System_Part_Number", u"System part number"},
    {0x07, 4, u"System_Serial_Number", u"System serial number"},
};

constexpr Field kBoardFields[kFields] = {
    {0x04, 5, u"Board_Manufacturer", u"Board manufacturer"},
    {0x05, 6, u"Board_Product", u"Board product"},
    {0x06, 7, u"Board_Part_Number", u"Board part number"},
    {0x07, 8, u"Board_Serial_Number", u"Board serial number"},
};

constexpr Field kChassisFields[kFields] = {
    {0x04, 9, u"Chassis_Manufacturer", u"Chassis manufacturer"},
    {0x06, 11, u"Chassis_Part_Number", u"Chassis part number"},
    {0x07, 12, u"Chassis_Serial_Number", u"Chassis serial number"},
    {0x08, 13, u"Chassis_Asset", u"Chassis asset"},
};

// What a structure with so many strings, of which these fields are set, has
// missing. The branch goes by the number of strings; in it the first row whose
// fields are all set counts. One row in two branches has a label of its own.
struct Branch {
  unsigned strings;
  unsigned fields;  // bit 0 is the first field
  CheckedFormat<> message;
  std::size_t relabelled_field = kFields;
  const char16_t* label = nullptr;
};

// clang-format off
constexpr Branch kSystemBranches[] = {
    {1, 0b0001, "SYSTEM Product Code, Version & Serial Number are not programmed.\n"},
    {1, 0b0010, "SYSTEM Manufacturer, Version & Serial Number are not programmed.\n"},
    {1, 0b0100, "SYSTEM Manufacturer, Product Code & Serial Number are not programmed.\n"},
    {1, 0b1000, "SYSTEM Manufacturer, Product Code & Version are not programmed.\n"},
    {2, 0b0011, "SYSTEM Version & Serial Number are not programmed.\n"},
    {2, 0b0101, "SYSTEM Product Code & Serial Number are not programmed.\n"},
    {2, 0b1001, "SYSTEM Product Code & Version are not programmed.\n"},
    {2, 0b0110, "SYSTEM Manufacturer & Serial Number are not programmed.\n"},
    {2, 0b1010, "SYSTEM Manufacturer & Version are not programmed.\n"},
    {2, 0b1100, "SYSTEM Manufacturer & Product Code are not programmed.\n"},
    {3, 0b0111, "SYSTEM Serial Number is not programmed.\n"},
    {3, 0b1011, "SYSTEM Version is not programmed.\n"},
    {3, 0b1101, "SYSTEM Product Code is not programmed.\n"},
    {3, 0b1110, "SYSTEM Manufacturer is not programmed.\n"},
};

constexpr Branch kBoardBranches[] = {
    {1, 0b0001, "BASE BOARD Product Code, Version & Serial Number are not programmed.\n"},
    {1, 0b0010, "BASE BOARD Manufacturer, Version & Serial Number are not programmed.\n"},
    {1, 0b0100, "BASE BOARD Manufacturer, Product Code & Serial Number are not programmed.\n"},
    {1, 0b1000, "BASE BOARD Manufacturer, Product Code & Version are not programmed.\n"},
    {2, 0b0011, "BASE BOARD Version & Serial Number are not programmed.\n"},
    {2, 0b0101, "BASE BOARD Product Code & Serial Number are not programmed.\n"},
    {2, 0b1001, "BASE BOARD Product Code & Version are not programmed.\n"},
    {2, 0b0110, "BASE BOARD Manufacturer & Serial Number are not programmed.\n"},
    {2, 0b1010, "BASE BOARD Manufacturer & Version are not programmed.\n"},
    {2, 0b1100, "BASE BOARD Manufacturer & Product Code are not programmed.\n"},
    {3, 0b0111, "BASE BOARD Serial Number is not programmed.\n", 2, u"board part number"},
    {3, 0b1011, "BASE BOARD Version is not programmed.\n"},
    {3, 0b1101, "BASE BOARD Product Code is not programmed.\n"},
    {3, 0b1110, "BASE BOARD Manufacturer is not programmed.\n"},
};

// Kept: a chassis with one string always has the last three reported.
constexpr Branch kChassisBranches[] = {
    {1, 0b0001, "CHASSIS Version, Serial Number & Asset Tag are not programmed.\n"},
    {1, 0b0010, "CHASSIS Version, Serial Number & Asset Tag are not programmed.\n"},
    {1, 0b0100, "CHASSIS Version, Serial Number & Asset Tag are not programmed.\n"},
    {1, 0b1000, "CHASSIS Version, Serial Number & Asset Tag are not programmed.\n"},
    {2, 0b0011, "CHASSIS Serial Number & Asset Tag are not programmed.\n"},
    {2, 0b0101, "CHASSIS Version & Asset Tag are not programmed.\n"},
    {2, 0b1001, "CHASSIS Version & Serial Number are not programmed.\n"},
    {2, 0b0110, "CHASSIS Manufacturer & Asset Tag are not programmed.\n"},
    {2, 0b1010, "CHASSIS Manufacturer & Serial Number are not programmed.\n"},
    {2, 0b1100, "CHASSIS Manufacturer & Version are not programmed.\n"},
    {3, 0b0111, "CHASSIS Asset Tag is not programmed.\n", 2, u"Chassis serail number"},
    {3, 0b1011, "CHASSIS Serial Number is not programmed.\n"},
    {3, 0b1101, "CHASSIS Version is not programmed.\n"},
    {3, 0b1110, "CHASSIS Manufacturer is not programmed.\n"},
};
// clang-format on

// One of the three identity structures.
struct Structure {
  std::uint8_t type;
  std::span<const Field, kFields> fields;
  std::span<const Branch> branches;
  CheckedFormat<> not_programmed;
};

constexpr Structure kSystem{1, kSystemFields, kSystemBranches, "SMBIOS Table TYPE 01 is not programmed.\n"};
constexpr Structure kBoard{2, kBoardFields, kBoardBranches, "SMBIOS Table TYPE 02 is not programmed.\n"};
constexpr Structure kChassis{3, kChassisFields, kChassisBranches, "SMBIOS Table TYPE 03 is not programmed.\n"};

constexpr Branch kAllMissing{0, 0b0000, ""};
constexpr Branch kNoneMissing{4, 0b1111, ""};

// A structure that was found, with its strings.
struct Identity {
  const Structure& kind;
  SmbiosStructure structure{};
  SmbiosStrings strings{};

  bool Find() {
    if (!GetSmbiosStructure(kind.type, 0, &structure)) return false;
    CollectStructureStrings(structure, &strings);
    return true;
  }
  std::uint8_t StringNumber(std::size_t field) const { return structure.Byte(kind.fields[field].offset); }
  std::uint8_t Index(std::size_t field) const { return static_cast<std::uint8_t>(StringNumber(field) - 1); }
  char16_t* Text(std::size_t field) { return strings.Numbered(StringNumber(field)); }
  std::uint8_t ChassisType() const { return structure.Byte(kChassisTypeOffset); }

  unsigned PresentFields() const {
    unsigned present = 0;
    for (std::size_t i = 0; i < kFields; ++i) present |= StringNumber(i) != 0 ? 1u << i : 0u;
    return present;
  }
};

void FormatDisplayKey(PublishedText& key, const char16_t* label) { FormatText(key, "display.cfg:%s", label); }

// Kept: the shown value goes through the formatter, so a percent sign in an
// SMBIOS string starts a conversion; without an argument it prints nothing.
void PublishField(const char16_t* key, const char16_t* label, char16_t* text) {
  TrimTrailingSpaces(text);
  TestLib->SetResultString(key, text);
  PublishedText display_key;
  FormatDisplayKey(display_key, label);
  PublishedText value;
  FormatArguments(value, text, {});
  TestLib->SetResultString(display_key.data(), value.data());
}

// Types 1 to 23, with or without the chassis-lock bit.
constexpr bool IsValidChassisType(std::uint8_t type) {
  const std::uint8_t unlocked = type & 0x7F;
  return unlocked >= 1 && unlocked <= 23;
}

void PublishChassisType(std::uint8_t type) {
  if (!IsValidChassisType(type)) return TestLib->RemoveSubtest(kChassisTypeTest);
  TestLib->SetResultNumber(u"Chassis_Type", type);
  PublishedText key;
  FormatDisplayKey(key, u"Chassis type");
  TestLib->SetResultNumber(key.data(), type);
}

// The branch of the decision table that a structure falls into, or null when
// its strings and its fields do not go together.
const Branch* FindBranch(const Identity& identity) {
  const unsigned strings = identity.strings.count;
  if (strings == 0) return &kAllMissing;
  if (strings >= kFields) return &kNoneMissing;
  const unsigned present = identity.PresentFields();
  for (const Branch& branch : identity.kind.branches) {
    if (branch.strings == strings && (present & branch.fields) == branch.fields) return &branch;
  }
  return nullptr;
}

void SayWhatIsMissing(const Identity& identity, const Branch& branch) {
  if (&branch == &kAllMissing) {
    report::LogMessage(identity.kind.not_programmed);
  } else if (&branch != &kNoneMissing) {
    report::LogMessage(branch.message);
  }
}

// Publishes or removes field by field; the chassis type has its place behind
// the manufacturer. With four strings and more, a field that is not set has
// nothing to publish, but its test stays.
void ApplyBranch(Identity& identity, const Branch& branch) {
  SayWhatIsMissing(identity, branch);
  const unsigned present = identity.PresentFields();
  for (std::size_t i = 0; i < kFields; ++i) {
    const Field& field = identity.kind.fields[i];
    if ((branch.fields >> i & 1) == 0) {
      TestLib->RemoveSubtest(field.test);
    } else if ((present >> i & 1) != 0) {
      PublishField(field.key, branch.relabelled_field == i ? branch.label : field.label, identity.Text(i));
    }
    if (i == 0 && identity.kind.type == kChassis.type) PublishChassisType(identity.ChassisType());
  }
}

void Decide(Identity& identity) {
  if (const Branch* const branch = FindBranch(identity)) ApplyBranch(identity, *branch);
}

void RemoveTests(std::uint32_t first, std::uint32_t last) {
  for (std::uint32_t test = first; test <= last; ++test) TestLib->RemoveSubtest(test);
}

void LogField(Identity& identity, std::size_t field, CheckedFormat<const char16_t*, const char16_t*> format) {
  const char16_t* const text = identity.Text(field);
  report::LogMessage(format, identity.kind.fields[field].key, text);
}

void SenseFields(Identity& identity, CheckedFormat<unsigned> string_count) {
  report::DebugPrint(kDebugIndex, "\nmfgIndex=%02xh prodIndex=%02xh verIndex=%02xh serIndex=%02xh", identity.Index(0),
                     identity.Index(1), identity.Index(2), identity.Index(3));
  report::DebugPrint(kDebugIndex, string_count, identity.strings.count);
  Decide(identity);
  LogField(identity, 0, "\n%s=\"%s\"");
  LogField(identity, 1, "\n%s=\"%s\"");
  LogField(identity, 2, "\n%s=\"%s\"");
  LogField(identity, 3, "\n%s=\"%s\"\n");
}

void SenseSystem() {
  Identity identity{kSystem};
  if (identity.Find()) return SenseFields(identity, "\nNumber of strings in Type1:%d\n");
  report::DisplayPrint("\nFailed to get SMBIOS System Structure.\n%s", LastError());
  RemoveTests(1, 4);
}

void SenseBoard() {
  Identity identity{kBoard};
  if (identity.Find()) return SenseFields(identity, "\nNumber of strings in Type2:%d\n");
  report::DisplayPrint("\nFailed to get SMBIOS BaseBoard Structure - Type2.\n%s\n", LastError());
  RemoveTests(5, 8);
}

void SenseChassis() {
  Identity identity{kChassis};
  if (!identity.Find()) {
    report::DisplayPrint("\nFailed to get SMBIOS Chassis Structure.\n%s\n", LastError());
    return RemoveTests(9, 13);
  }
  report::DebugPrint(kDebugIndex, "\nmfgIndex=%02xh verIndex=%02xh serIndex=%02xh assetIndex=%02xh", identity.Index(0),
                     identity.Index(1), identity.Index(2), identity.Index(3));
  report::DebugPrint(kDebugIndex, "\nNumber of strings in Type3:%d\n", identity.strings.count);
  if (!IsValidChassisType(identity.ChassisType())) report::LogMessage("Invalid Chassis Type.\n");
  Decide(identity);
  LogField(identity, 0, "\n%s=\"%s\"");
  report::LogMessage("\n%s= 0x%x", u"Chassis_Type", identity.ChassisType());
  LogField(identity, 1, "\n%s=\"%s\"");
  LogField(identity, 2, "\n%s=\"%s\"");
  LogField(identity, 3, "\n%s=\"%s\"\n\n");
}

// The last OEM string names the firmware build.
void SenseOemString() {
  SmbiosStructure oem;
  if (!GetSmbiosStructure(11, 0, &oem)) {
    report::DisplayPrint("\nFailed to get OEM String Structure.\n%s\n", LastError());
    return TestLib->RemoveSubtest(40);
  }
  SmbiosStrings strings;
  CollectStructureStrings(oem, &strings);
  report::DebugPrint(kDebugProgress, "\nNumber of strings found:%d", strings.count);
  const char16_t* const last = strings.Numbered(oem.Byte(0x04));
  report::LogMessage("\nOEM BIOS String: %s\n", last);
  TestLib->SetResultString(u"OEM_BIOS_String", last);
}

// What a probe's result means: a message, with the reason in it or without, and
// the tests that do not apply.
using Quoting = CheckedFormat<const char16_t*>;
using Plain = CheckedFormat<>;
struct Consequence {
  std::optional<Quoting> message_with_reason;
  std::optional<Plain> message;
  std::uint32_t first_removed = 0;
  std::uint32_t last_removed = 0;
};

struct Probe {
  bool (*routine)(bool probe);
  Consequence when_false;
  Consequence when_true = {};
};

// clang-format off
constexpr Probe kProbes[] = {
    {VerifyGuid, {Quoting("Autosense():: Guid not valid, removing subtest 14.\n%s\n"), {}, 14, 14}},
    {WriteMfgSystemUuid, {{}, Plain("Autosense():: No Marwick product being identified, removing subtest 31.\r\n"), 31, 31},
                         {{}, Plain("Autosense():: Marwick product being identified, removing subtests 28, 29 & 30.\r\n"), 28, 30}},
    {Verify1394Uuid, {Quoting("Autosense():: %s 1394 controller not found, removing subtest 33.\r\n"), {}, 33, 33}},
    {VerifyMfgDate, {Quoting("Autosense():: %s.\nRemoving subtest 34.\r\n"), {}, 34, 34}},
    {VerifyBiosId, {{}, Plain("Autosense():: BIOS ID not found, removing subtest 35.\r\n"), 35, 35}},
    {VerifyMemoryDevices, {{}, Plain("Autosense():: Memory Device not found, removing subtest 36.\r\n"), 36, 36}},
    {VerifyEventLog, {{}, Plain("Autosense():: SMBIOS Type 15 not found, removing subtest 37.\r\n"), 37, 37}},
    {VerifySysBoardMfgDate, {Quoting("Autosense():: %s.\nRemoving subtest 38.\r\n"), {}, 38, 38}},
    {VerifyFruBoardStrings, {Quoting("Autosense():: %s.\nRemoving subtest 39.\r\n"), {}, 39, 39}},
};
// clang-format on

void RunProbe(const Probe& probe) {
  const Consequence& consequence = probe.routine(true) ? probe.when_true : probe.when_false;
  if (consequence.message_with_reason) report::LogMessage(*consequence.message_with_reason, LastError());
  if (consequence.message) report::LogMessage(*consequence.message);
  if (consequence.first_removed != 0) RemoveTests(consequence.first_removed, consequence.last_removed);
}

void ReadFruRecords() {
  std::uint32_t delay_seconds = 0;
  // Kept: the delay is whatever the library left here, with whatever status.
  (void)TestLib->GetParamNumber(u"HSBP_FRU_DelayTime", &delay_seconds);
  report::LogMessage("Reading all chassis boards FRU information\n");
  ReadFruBoardRecords();
  report::LogMessage("Reading all HSBP boards FRU information\n");
  ReadBackplaneFruRecords();
  TestLib->Delay(delay_seconds * 1000);
}

}  // namespace

void Autosense() {
  ReadFruRecords();
  SenseSystem();
  SenseBoard();
  SenseChassis();
  SenseOemString();
  for (const Probe& probe : kProbes) RunProbe(probe);
  report::LogMessage("\n");
}

}  // namespace mfgtest
