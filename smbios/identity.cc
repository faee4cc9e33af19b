#include "smbios/identity.h"

#include <span>

#include "platform/text.h"
#include "report/environment.h"
#include "report/last_error.h"
#include "report/parameters.h"
#include "report/report.h"
#include "smbios/structures.h"

namespace mfgtest {
namespace {

using TextFormat = CheckedFormat<const char16_t*>;

struct IdentityField {
  const char16_t* parameter;
  std::uint8_t offset;
};

// Everything in which the three identity routines differ. Their texts differ
// in single blanks and line ends; the line's tools know them as they stand.
struct IdentityKind {
  std::uint8_t type;
  void (*show)(const SmbiosStructure& structure, SmbiosStrings& strings);
  std::span<const IdentityField> fields;
  // What an expected value may fill: its buffer's size in bytes, for the test
  // library, and in characters, for the operator.
  UINTN value_bytes;
  std::uint32_t value_characters;
  CheckedFormat<const char16_t*, std::uint32_t> value_too_long;
  TextFormat value_unreadable;
  TextFormat variable_missing;
  CheckedFormat<const char16_t*, const char16_t*, const char16_t*> mismatch;
};

constexpr std::uint8_t kManufacturer = 0x04;
constexpr std::uint8_t kProductName = 0x05;
constexpr std::uint8_t kChassisType = 0x05;
constexpr std::uint8_t kVersion = 0x06;
constexpr std::uint8_t kSerialNumber = 0x07;
constexpr std::uint8_t kAssetTag = 0x08;

// The structures have no part number; the line programs it into Version.
constexpr IdentityField kSystemFields[] = {
    {u"System_Manufacturer", kManufacturer},
    {u"System_Product", kProductName},
    {u"System_Part_Number", kVersion},
    {u"System_Serial_Number", kSerialNumber},
};

constexpr IdentityField kBoardFields[] = {
    {u"Board_Manufacturer", kManufacturer},
    {u"Board_Product", kProductName},
    {u"Board_Part_Number", kVersion},
    {u"Board_Serial_Number", kSerialNumber},
};

constexpr IdentityField kChassisFields[] = {
    {u"Chassis_Manufacturer", kManufacturer},  {u"Chassis_Type", kChassisType}, {u"Chassis_Part_Number", kVersion},
    {u"Chassis_Serial_Number", kSerialNumber}, {u"Chassis_Asset", kAssetTag},
};
constexpr std::uint32_t kChassisTypeIndex = 1;

void ShowString(const SmbiosStructure& structure, SmbiosStrings& strings, std::uint8_t offset, TextFormat format,
                Format<> bare) {
  const std::uint8_t number = structure.Byte(offset);
  if (number == 0) return report::DebugPrint(kDebugProgress, bare);
  const char16_t* const value = strings.Numbered(number);
  report::DebugPrint(kDebugProgress, format, value);
}

void ShowSystemOrBoard(const SmbiosStructure& structure, SmbiosStrings& strings) {
  ShowString(structure, strings, kManufacturer, "\nManufacturer:%s", "\nManufacturer:");
  ShowString(structure, strings, kProductName, "\nProduct Name:%s", "\nProduct Name:");
  ShowString(structure, strings, kSerialNumber, "\nSerial Number:%s", "\nSerial Number:");
  ShowString(structure, strings, kVersion, "\nVersion:%s\n", "\nVersion:\n");
}

void ShowChassis(const SmbiosStructure& structure, SmbiosStrings& strings) {
  ShowString(structure, strings, kManufacturer, "\nManufacturer:%s", "\nManufacturer:");
  report::DebugPrint(kDebugProgress, "\nChassis Type:%x", structure.Byte(kChassisType));
  ShowString(structure, strings, kSerialNumber, "\nSerial Number:%s", "\nSerial Number:");
  ShowString(structure, strings, kVersion, "\nVersion:%s", "\nVersion:");
  ShowString(structure, strings, kAssetTag, "\nAsset:%s\n", "\nAsset:\n");
}

constexpr IdentityKind kSystem = {
    .type = 1,
    .show = ShowSystemOrBoard,
    .fields = kSystemFields,
    .value_bytes = 64,
    .value_characters = 32,
    .value_too_long = "\nFailed to get param:%s. \nBuffer too small, buffer size must < %d.\n",
    .value_unreadable = "\nFailed to get param:%s\n",
    .variable_missing = "\nEnviroment Variable %s not found",
    .mismatch = "\n%s mismatched. \nExp: \"%s\"\nRec: \"%s\"\n",
};

constexpr IdentityKind kBoard = {
    .type = 2,
    .show = ShowSystemOrBoard,
    .fields = kBoardFields,
    .value_bytes = 100,
    .value_characters = 50,
    .value_too_long = "\nFailed to get param:%s. \nBuffer too small, buffer size must < %d.\n",
    .value_unreadable = "\nFailed to get param:%s\n",
    .variable_missing = "\nEnviroment Variable %s not found\n",
    .mismatch = "\n%s mismatched. \nExp:\"%s\"\nRec: \"%s\"\n",
};

constexpr IdentityKind kChassis = {
    .type = 3,
    .show = ShowChassis,
    .fields = kChassisFields,
    .value_bytes = 100,
    .value_characters = 50,
    .value_too_long = "\nFailed to get param:%s. \nBuffer too small, buffer size must < %d.\n",
    .value_unreadable = "\nFailed to get param:%s. \n",
    .variable_missing = "\nEnviroment Variable %s not found",
    .mismatch = "\n%s mismatched. \nExp: \"%s\"\nRec:\"%s\"\n",
};

// A located structure and its strings.
struct Identity {
  SmbiosStructure structure;
  SmbiosStrings strings;
};

// Finds the structure and shows its header and identity. A missing structure
// is reported as the system structure, whichever it is.
bool ShowIdentity(const IdentityKind& kind, Identity& identity) {
  if (!GetSmbiosStructure(kind.type, 0, &identity.structure)) {
    report::ReportError(ErrorCode::kSmbiosStructureMissing, "\nFailed to get SMBIOS System Structure.\n%s\n",
                        LastError());
    return false;
  }
  const SmbiosStructure& structure = identity.structure;
  ShowStructureHeader(structure);
  CollectStructureStrings(structure, &identity.strings);
  report::DebugPrint(kDebugProgress, "\nNumber of strings found:%d", identity.strings.count);
  kind.show(structure, identity.strings);
  return true;
}

bool ReadParameter(const IdentityKind& kind, const char16_t* parameter, EnvironmentValue& value) {
  const TestLibraryStatus status = TestLib->GetParamString(parameter, value.data(), kind.value_bytes);
  if (status == kTestLibrarySuccess) return true;
  if (status == kTestLibraryBufferTooSmall) {
    report::ReportError(ErrorCode::kParameterUnreadable, kind.value_too_long, parameter, kind.value_characters);
  } else {
    report::ReportError(ErrorCode::kParameterUnreadable, kind.value_unreadable, parameter);
  }
  return false;
}

// Replaces a value that names an environment variable by the variable's value.
bool ResolveReference(const IdentityKind& kind, EnvironmentValue& value) {
  const ReferencePrefix prefix(value.data());
  report::DebugPrint(kDebugProgress, "\ntestStr=%s  tmp=%s\n", value.data(), prefix.text.data());
  if (!prefix.NamesVariable()) return true;

  EnvironmentValue buffer = value;
  const char16_t* const name = &buffer[kReferencePrefixCharacters];
  if (!FindEnvVariable(name, value)) {
    report::ReportError(ErrorCode::kEnvironmentVariableMissing, kind.variable_missing, name);
    return false;
  }
  report::DebugPrint(kDebugProgress, "\n%s=%s", name, value.data());
  return true;
}

void VerifyString(const IdentityKind& kind, const IdentityField& field, Identity& identity) {
  EnvironmentValue value{};
  if (!ReadParameter(kind, field.parameter, value) || !ResolveReference(kind, value)) return;

  char16_t* const trimmed = identity.strings.Numbered(identity.structure.Byte(field.offset));
  TrimTrailingSpaces(trimmed);
  const char16_t* const expected = value.data();
  const char16_t* const received = trimmed;
  if (!SameText(expected, received)) {
    report::ReportError(ErrorCode::kStringMismatch, kind.mismatch, field.parameter, expected, received);
  }
}

// The whole byte counts, the chassis-lock bit included.
void VerifyChassisType(const IdentityField& field, const SmbiosStructure& chassis) {
  std::uint32_t expected = 0;
  if (TestLib->GetParamNumber(field.parameter, &expected) != kTestLibrarySuccess) {
    return report::ReportError(ErrorCode::kParameterUnreadable, "\nFailed to get param:%s \n", field.parameter);
  }
  const std::uint8_t received = chassis.Byte(field.offset);
  if (received != expected) {
    report::ReportError(ErrorCode::kChassisTypeMismatch, "\n%s mismatched. \nExp: \"%x\"\nRec:\"%x\"\n",
                        field.parameter, expected, received);
  }
}

void VerifyIdentityString(const IdentityKind& kind, std::uint32_t index) {
  Identity identity;
  if (!ShowIdentity(kind, identity) || index >= kind.fields.size()) return;
  VerifyString(kind, kind.fields[index], identity);
}

}  // namespace

void VerifySystemString(std::uint32_t index) { VerifyIdentityString(kSystem, index); }

void VerifyBoardString(std::uint32_t index) { VerifyIdentityString(kBoard, index); }

void VerifyChassisString(std::uint32_t index) {
  if (index != kChassisTypeIndex) return VerifyIdentityString(kChassis, index);
  Identity identity;
  if (ShowIdentity(kChassis, identity)) VerifyChassisType(kChassisFields[index], identity.structure);
}

}  // namespace mfgtest
