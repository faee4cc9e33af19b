// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "smbios/display.h"

#include <bit>

#include "platform/text.h"
#include "report/last_error.h"
#include "report/report.h"
#include "smbios/fields.h"

namespace mfgtest {
namespace {

constexpr std::size_t kAnswerCharacters = 4;

bool FindEntryPoint(const SmbiosEntryPoint** entry) {
  if (GetSmbiosEntryPoint(entry)) return true;
  report::ReportError(ErrorCode::kSmbiosEntryPointMissing, "\nFailed to get SMBIOS Table Entry Point.\n%s",
                      LastError());
  return false;
}

// A missing structure is reported as the system structure, whichever it is.
bool FindStructure(std::uint8_t type, SmbiosStructure* structure) {
  if (GetSmbiosStructure(type, 0, structure)) return true;
  report::ReportError(ErrorCode::kSmbiosStructureMissing, "\nFailed to get SMBIOS System Structure.\n%s", LastError());
  return false;
}

void ShowStringCount(const SmbiosStructure& structure) {
  report::DebugPrint(kDebugProgress, "\nNumber of strings found:%d", CountStructureStrings(structure));
}

void DisplayString(const SmbiosStructure& structure, unsigned offset, CheckedFormat<const char16_t*> format,
                   Format<> bare) {
  const std::uint8_t number = structure.Byte(offset);
  if (number == 0) return report::DisplayPrint(bare);
  report::DisplayPrint(format, StructureString(structure, number).data());
}

// The BIOS structure's strings are shown in one form, empty or not.
void DisplayStringAlways(const SmbiosStructure& structure, unsigned offset, CheckedFormat<const char16_t*> format) {
  report::DisplayPrint(format, StructureString(structure, structure.Byte(offset)).data());
}

// The UUID as it is stored, and as the EFI GUID of the same bytes.
void DisplayUuid(const SmbiosStructure& system) {
  const SystemUuidBytes uuid = SystemUuid(system);
  report::DisplayPrint("\nRaw/Flash GUID = ");
  for (const std::uint8_t byte : uuid) report::DisplayPrint("%02x ", byte);
  report::DisplayPrint("\n");

  const auto guid = std::bit_cast<EFI_GUID>(uuid);
  std::array<char16_t, 40> text;
  FormatText(text, "%g", &guid);
  report::DisplayPrint("\nHuman Readable GUID = %s\n", text.data());
}

bool OperatorStops() {
  // A library may write its terminator behind the characters that it was asked for.
  char16_t answer[kAnswerCharacters + 1] = {};
  TestLib->Prompt(u"\nPress any key for next structure or S to Stop: ");
  TestLib->ReadInput(answer, kAnswerCharacters, 0);
  answer[kAnswerCharacters] = 0;
  return platform::StriCmpAscii(answer, u"S") == 0;
}

}  // namespace

void DisplaySmbiosEntryPoint() {
  const SmbiosEntryPoint* found = nullptr;
  if (!FindEntryPoint(&found)) return;
  const SmbiosEntryPoint entry = *found;
  const auto character = [](char c) { return static_cast<char16_t>(static_cast<unsigned char>(c)); };
  const char* const anchor = entry.anchor;
  report::DisplayPrint("\nAnchor String: %c%c%c%c", character(anchor[0]), character(anchor[1]), character(anchor[2]),
                       character(anchor[3]));
  report::DisplayPrint("\nEPSChecksum: 0x%x", std::uint8_t{entry.checksum});
  report::DisplayPrint("\nEPLength: 0x%x", std::uint8_t{entry.length});
  report::DisplayPrint("\nMajorVersion: 0x%x", std::uint8_t{entry.major_version});
  report::DisplayPrint("\nMinorVersion: 0x%x", std::uint8_t{entry.minor_version});
  report::DisplayPrint("\nMaxStructSize: 0x%x", std::uint16_t{entry.maximum_structure_size});
  report::DisplayPrint("\nEPRevision: 0x%x", std::uint8_t{entry.revision});
  const char* const intermediate = entry.intermediate_anchor;
  report::DisplayPrint("\nInterAnchorString: %c%c%c%c%c", character(intermediate[0]), character(intermediate[1]),
                       character(intermediate[2]), character(intermediate[3]), character(intermediate[4]));
  report::DisplayPrint("\nInterChecksum:0x%x", std::uint8_t{entry.intermediate_checksum});
  report::DisplayPrint("\nStructTableLen:0x%x", std::uint16_t{entry.table_length});
  report::DisplayPrint("\nStructTableAddr:0x%x", std::uint32_t{entry.table_address});
  report::DisplayPrint("\nNumStruct:0x%x", std::uint16_t{entry.structure_count});
  report::DisplayPrint("\nBCDRevision:0x%x\n", std::uint8_t{entry.bcd_revision});
}

void DisplaySystemInformation() {
  SmbiosStructure system;
  if (!FindStructure(fields::system::kType, &system)) return;
  report::DisplayPrint("\nStructure Header:");
  report::DisplayPrint("\nType: 0x%x   ", system.Type());
  report::DisplayPrint("Len: 0x%x   ", system.Length());
  report::DisplayPrint("Handle: 0x%x", system.Handle());
  ShowStringCount(system);
  DisplayString(system, fields::system::kManufacturer, "\nManufacturer:%s", "\nManufacturer:");
  DisplayString(system, fields::system::kProductName, "\nProduct Name:%s", "\nProduct Name:");
  DisplayString(system, fields::system::kSerialNumber, "\nSerial Number:%s", "\nSerial Number:");
  DisplayString(system, fields::system::kVersion, "\nVersion:%s", "\nVersion:");
  DisplayUuid(system);
}

void BrowseSmbiosStructures() {
  const SmbiosEntryPoint* entry = nullptr;
  if (!FindEntryPoint(&entry)) return;
  report::DebugPrint(kDebugProgress, "\nNumber of structs: %d", std::uint16_t{entry->structure_count});
  for (SmbiosWalk walk(*entry); !walk.AtEnd(); walk.Step()) {
    if (walk.IsNull()) {
      return report::ReportError(ErrorCode::kSmbiosTableAddressNull, "\nStructure Table Address is NULL");
    }
    const SmbiosStructure& structure = walk.current;
    report::DebugPrint(kDebugProgress, "\nStructure %d Header:", walk.counter);
    report::DebugPrint(kDebugProgress, "\nType: 0x%x   ", structure.Type());
    report::DebugPrint(kDebugProgress, "Len: 0x%x   ", structure.Length());
    report::DebugPrint(kDebugProgress, "Handle: 0x%x", structure.Handle());
    if (OperatorStops()) return;
  }
}

void DisplayBaseBoardInformation() {
  SmbiosStructure board;
  if (!FindStructure(fields::baseboard::kType, &board)) return;
  ShowStructureHeader(board);
  ShowStringCount(board);
  DisplayString(board, fields::baseboard::kManufacturer, "\nManufacturer:%s", "\nManufacturer:");
  DisplayString(board, fields::baseboard::kProduct, "\nProduct Name:%s", "\nProduct Name:");
  DisplayString(board, fields::baseboard::kSerialNumber, "\nSerial Number:%s", "\nSerial Number:");
  DisplayString(board, fields::baseboard::kVersion, "\nVersion:%s\n", "\nVersion:\n");
}

void DisplayBiosInformation() {
  SmbiosStructure bios;
  if (!FindStructure(fields::bios::kType, &bios)) return;
  ShowStructureHeader(bios);
  report::DebugPrint(kDebugProgress, "\nVendor Index:%d  Version Index:%d  Date Index:%d",
                     bios.Byte(fields::bios::kVendor), bios.Byte(fields::bios::kVersion),
                     bios.Byte(fields::bios::kReleaseDate));
  ShowStringCount(bios);
  DisplayStringAlways(bios, fields::bios::kVendor, "\nVendor:%s");
  DisplayStringAlways(bios, fields::bios::kVersion, "\nVersion:%s");
  DisplayStringAlways(bios, fields::bios::kReleaseDate, "\nRelease Date:%s\n");
}

void DisplayChassisInformation() {
  SmbiosStructure chassis;
  if (!FindStructure(fields::chassis::kType, &chassis)) return;
  ShowStructureHeader(chassis);
  ShowStringCount(chassis);
  DisplayString(chassis, fields::chassis::kManufacturer, "\nManufacturer:%s", "\nManufacturer:");
  report::DisplayPrint("\nType:%x", chassis.Byte(fields::chassis::kChassisType));
  DisplayString(chassis, fields::chassis::kSerialNumber, "\nSerial Number:%s", "\nSerial Number:");
  DisplayString(chassis, fields::chassis::kVersion, "\nVersion:%s", "\nVersion:");
  DisplayString(chassis, fields::chassis::kAssetTagNumber, "\nAsset Tag Number:%s\n", "\nAsset Tag Number:\n");
}

}  // namespace mfgtest
