// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "module/identity_sensing.h"

#include <span>

#include "platform/text.h"
#include "report/last_error.h"
#include "report/report.h"
#include "smbios/identity_fields.h"

namespace mfgtest {
namespace {

constexpr std::size_t kPublishedCharacters = 512;
using PublishedText = std::array<char16_t, kPublishedCharacters>;

// What a structure with so many strings, of which these fields are set, has
// missing. The branch goes by the number of strings; in it the first row whose
// fields are all set counts. One row in two branches has a label of its own.
struct Branch {
  unsigned strings;
  unsigned fields;  // bit 0 is the first field
  CheckedFormat<> message;
  std::size_t relabelled_field = kIdentityStrings;
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
  std::span<const IdentityField, kIdentityStrings> strings;
  std::span<const Branch> branches;
  CheckedFormat<> not_programmed;
};

constexpr Structure kSystem{fields::system::kType, kSystemStrings, kSystemBranches,
                            "SMBIOS Table TYPE 01 is not programmed.\n"};
constexpr Structure kBoard{fields::baseboard::kType, kBoardStrings, kBoardBranches,
                           "SMBIOS Table TYPE 02 is not programmed.\n"};
constexpr Structure kChassis{fields::chassis::kType, kChassisStrings, kChassisBranches,
                             "SMBIOS Table TYPE 03 is not programmed.\n"};

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
  std::uint8_t StringNumber(std::size_t field) const { return structure.Byte(kind.strings[field].offset); }
  std::uint8_t Index(std::size_t field) const { return static_cast<std::uint8_t>(StringNumber(field) - 1); }
  char16_t* Text(std::size_t field) { return strings.Numbered(StringNumber(field)); }
  std::uint8_t ChassisType() const { return structure.Byte(kChassisTypeField.offset); }

  unsigned PresentFields() const {
    unsigned present = 0;
    for (std::size_t i = 0; i < kIdentityStrings; ++i) present |= StringNumber(i) != 0 ? 1u << i : 0u;
    return present;
  }
};

void FormatDisplayKey(PublishedText& key, const char16_t* label) { FormatText(key, "display.cfg:%s", label); }

// Kept: the shown value goes through the formatter, so a percent sign in an
// SMBIOS string starts a conversion; without an argument it prints nothing.
void PublishField(const char16_t* key, const char16_t* label, char16_t* text) {
  platform::TrimTrailingSpaces(text);
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
  if (!IsValidChassisType(type)) return TestLib->RemoveSubtest(kChassisTypeField.test);
  TestLib->SetResultNumber(kChassisTypeField.key, type);
  PublishedText key;
  FormatDisplayKey(key, kChassisTypeField.label);
  TestLib->SetResultNumber(key.data(), type);
}

// The branch of the decision table that a structure falls into, or null when
// its strings and its fields do not go together.
const Branch* FindBranch(const Identity& identity) {
  const unsigned strings = identity.strings.count;
  if (strings == 0) return &kAllMissing;
  if (strings >= kIdentityStrings) return &kNoneMissing;
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
  for (std::size_t i = 0; i < kIdentityStrings; ++i) {
    const IdentityField& field = identity.kind.strings[i];
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

void LogField(Identity& identity, std::size_t field, CheckedFormat<const char16_t*, const char16_t*> format) {
  const char16_t* const text = identity.Text(field);
  report::LogMessage(format, identity.kind.strings[field].key, text);
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
  report::LogMessage("\n%s= 0x%x", kChassisTypeField.key, identity.ChassisType());
  LogField(identity, 1, "\n%s=\"%s\"");
  LogField(identity, 2, "\n%s=\"%s\"");
  LogField(identity, 3, "\n%s=\"%s\"\n\n");
}

// The last OEM string names the firmware build.
void SenseOemString() {
  SmbiosStructure oem;
  if (!GetSmbiosStructure(fields::oem_strings::kType, 0, &oem)) {
    report::DisplayPrint("\nFailed to get OEM String Structure.\n%s\n", LastError());
    return TestLib->RemoveSubtest(40);
  }
  SmbiosStrings strings;
  CollectStructureStrings(oem, &strings);
  report::DebugPrint(kDebugProgress, "\nNumber of strings found:%d", strings.count);
  const char16_t* const last = strings.Numbered(oem.Byte(fields::oem_strings::kCount));
  report::LogMessage("\nOEM BIOS String: %s\n", last);
  TestLib->SetResultString(u"OEM_BIOS_String", last);
}

}  // namespace

void RemoveTests(std::uint32_t first, std::uint32_t last) {
  for (std::uint32_t test = first; test <= last; ++test) TestLib->RemoveSubtest(test);
}

void SenseIdentity() {
  SenseSystem();
  SenseBoard();
  SenseChassis();
  SenseOemString();
}

}  // namespace mfgtest
