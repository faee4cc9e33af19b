// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "smbios/identity.h"

#include <span>

#include "platform/text.h"
#include "report/last_error.h"
#include "report/parameters.h"
#include "report/report.h"
#include "smbios/identity_fields.h"

namespace mfgtest {
namespace {

using TextFormat = CheckedFormat<const char16_t*>;

// Everything in which the three identity routines differ. Their texts differ
// in single blanks and line ends; the line's tools know them as they stand.
struct IdentityKind {
  std::uint8_t type;
  void (*show)(const SmbiosStructure& structure, SmbiosStrings& strings);
  std::span<const IdentityField> strings;
  // What an expected value may fill: its buffer's size in bytes, for the test
  // library, and in characters, for the operator.
  std::size_t value_bytes;
  std::uint32_t value_characters;
  CheckedFormat<const char16_t*, std::uint32_t> value_too_long;
  TextFormat value_unreadable;
  TextFormat variable_missing;
  CheckedFormat<const char16_t*, const char16_t*, const char16_t*> mismatch;
};

constexpr std::uint32_t kChassisTypeIndex = 1;

void ShowString(const SmbiosStructure& structure, SmbiosStrings& strings, std::uint8_t offset, TextFormat format,
                Format<> bare) {
  const std::uint8_t number = structure.Byte(offset);
  if (number == 0) return report::DebugPrint(kDebugProgress, bare);
  report::DebugPrint(kDebugProgress, format, strings.Numbered(number));
}

// The two structures have the same layout up to here.
void ShowSystemOrBoard(const SmbiosStructure& structure, SmbiosStrings& strings) {
  ShowString(structure, strings, fields::system::kManufacturer, "\nManufacturer:%s", "\nManufacturer:");
  ShowString(structure, strings, fields::system::kProductName, "\nProduct Name:%s", "\nProduct Name:");
  ShowString(structure, strings, fields::system::kSerialNumber, "\nSerial Number:%s", "\nSerial Number:");
  ShowString(structure, strings, fields::system::kVersion, "\nVersion:%s\n", "\nVersion:\n");
}

void ShowChassis(const SmbiosStructure& structure, SmbiosStrings& strings) {
  ShowString(structure, strings, fields::chassis::kManufacturer, "\nManufacturer:%s", "\nManufacturer:");
  report::DebugPrint(kDebugProgress, "\nChassis Type:%x", structure.Byte(fields::chassis::kChassisType));
  ShowString(structure, strings, fields::chassis::kSerialNumber, "\nSerial Number:%s", "\nSerial Number:");
  ShowString(structure, strings, fields::chassis::kVersion, "\nVersion:%s", "\nVersion:");
  ShowString(structure, strings, fields::chassis::kAssetTagNumber, "\nAsset:%s\n", "\nAsset:\n");
}

constexpr IdentityKind kSystem = {
    .type = fields::system::kType,
    .show = ShowSystemOrBoard,
    .strings = kSystemStrings,
    .value_bytes = 64,
    .value_characters = 32,
    .value_too_long = "\nFailed to get param:%s. \nBuffer too small, buffer size must < %d.\n",
    .value_unreadable = "\nFailed to get param:%s\n",
    .variable_missing = "\nEnviroment Variable %s not found",
    .mismatch = "\n%s mismatched. \nExp: \"%s\"\nRec: \"%s\"\n",
};

constexpr IdentityKind kBoard = {
    .type = fields::baseboard::kType,
    .show = ShowSystemOrBoard,
    .strings = kBoardStrings,
    .value_bytes = 100,
    .value_characters = 50,
    .value_too_long = "\nFailed to get param:%s. \nBuffer too small, buffer size must < %d.\n",
    .value_unreadable = "\nFailed to get param:%s\n",
    .variable_missing = "\nEnviroment Variable %s not found\n",
    .mismatch = "\n%s mismatched. \nExp:\"%s\"\nRec: \"%s\"\n",
};

constexpr IdentityKind kChassis = {
    .type = fields::chassis::kType,
    .show = ShowChassis,
    .strings = kChassisStrings,
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
  switch (ReadText(parameter, value.data(), kind.value_bytes)) {
    case ParameterResult::kRead:
      return true;
    case ParameterResult::kTooLong:
      report::ReportError(ErrorCode::kParameterUnreadable, kind.value_too_long, parameter, kind.value_characters);
      return false;
    default:
      report::ReportError(ErrorCode::kParameterUnreadable, kind.value_unreadable, parameter);
      return false;
  }
}

// Replaces a value that names an environment variable by the variable's value.
bool ResolveReference(const IdentityKind& kind, EnvironmentValue& value) {
  const EnvironmentValue given = value;
  const ValueReference reference(given.data());
  report::DebugPrint(kDebugProgress, "\ntestStr=%s  tmp=%s\n", given.data(), reference.prefix.data());
  if (!reference.NamesVariable()) return true;
  return ReadNamedVariable(reference.VariableName(), kind.variable_missing, value);
}

void VerifyString(const IdentityKind& kind, const IdentityField& field, Identity& identity) {
  EnvironmentValue value{};
  if (!ReadParameter(kind, field.key, value) || !ResolveReference(kind, value)) return;

  char16_t* const trimmed = identity.strings.Numbered(identity.structure.Byte(field.offset));
  platform::TrimTrailingSpaces(trimmed);
  const char16_t* const expected = value.data();
  const char16_t* const received = trimmed;
  if (!platform::SameText(expected, received)) {
    report::ReportError(ErrorCode::kStringMismatch, kind.mismatch, field.key, expected, received);
  }
}

// The whole byte counts, the chassis-lock bit included.
void VerifyChassisType(const IdentityField& field, const SmbiosStructure& chassis) {
  std::uint32_t expected = 0;
  if (!ReadNumber(field.key, &expected)) {
    return report::ReportError(ErrorCode::kParameterUnreadable, "\nFailed to get param:%s \n", field.key);
  }
  const std::uint8_t received = chassis.Byte(field.offset);
  if (received != expected) {
    report::ReportError(ErrorCode::kChassisTypeMismatch, "\n%s mismatched. \nExp: \"%x\"\nRec:\"%x\"\n", field.key,
                        expected, received);
  }
}

void VerifyIdentityString(const IdentityKind& kind, std::uint32_t index) {
  Identity identity;
  if (!ShowIdentity(kind, identity) || index >= kind.strings.size()) return;
  VerifyString(kind, kind.strings[index], identity);
}

}  // namespace

void VerifySystemString(std::uint32_t index) { VerifyIdentityString(kSystem, index); }

void VerifyBoardString(std::uint32_t index) { VerifyIdentityString(kBoard, index); }

void VerifyChassisString(std::uint32_t index) {
  if (index == 0) return VerifyIdentityString(kChassis, index);
  if (index > kChassisTypeIndex) return VerifyIdentityString(kChassis, index - 1);
  Identity identity;
  if (ShowIdentity(kChassis, identity)) VerifyChassisType(kChassisTypeField, identity.structure);
}

}  // namespace mfgtest
