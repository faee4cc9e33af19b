#include "smbios/display.h"

#include "module/last_error.h"
#include "module/report.h"
#include "module/text.h"
#include "smbios/structures.h"

namespace mfgtest {
namespace {

constexpr unsigned kUuid = 0x08;
constexpr unsigned kUuidBytes = 16;
constexpr UINTN kAnswerCharacters = 4;

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
  const SmbiosString text = StructureString(structure, number);
  const char16_t* const value = text.data();
  report::DisplayPrint(format, value);
}

// The BIOS structure's strings are shown in one form, empty or not.
void DisplayStringAlways(const SmbiosStructure& structure, unsigned offset, CheckedFormat<const char16_t*> format) {
  const SmbiosString text = StructureString(structure, structure.Byte(offset));
  const char16_t* const value = text.data();
  report::DisplayPrint(format, value);
}

// The UUID as it is stored, and as the EFI GUID of the same bytes.
void DisplayUuid(const SmbiosStructure& system) {
  std::uint8_t uuid[kUuidBytes];
  for (unsigned i = 0; i < kUuidBytes; ++i) uuid[i] = system.Byte(kUuid + i);
  report::DisplayPrint("\nRaw/Flash GUID = ");
  for (const std::uint8_t byte : uuid) report::DisplayPrint("%02x ", byte);
  report::DisplayPrint("\n");

  EFI_GUID guid;
  static_assert(sizeof guid == sizeof uuid);
  __builtin_memcpy(&guid, uuid, sizeof guid);
  std::array<char16_t, 40> text;
  FormatText(text, "%g", &guid);
  const char16_t* const readable = text.data();
  report::DisplayPrint("\nHuman Readable GUID = %s\n", readable);
}

bool OperatorStops() {
  // A library may write its terminator behind the characters that it was asked for.
  char16_t answer[kAnswerCharacters + 1] = {};
  TestLib->Prompt(u"\nPress any key for next structure or S to Stop: ");
  TestLib->ReadInput(answer, kAnswerCharacters, 0);
  answer[kAnswerCharacters] = 0;
  return StriCmpAscii(answer, u"S") == 0;
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
  if (!FindStructure(1, &system)) return;
  report::DisplayPrint("\nStructure Header:");
  report::DisplayPrint("\nType: 0x%x   ", system.Type());
  report::DisplayPrint("Len: 0x%x   ", system.Length());
  report::DisplayPrint("Handle: 0x%x", system.Handle());
  ShowStringCount(system);
  DisplayString(system, 0x04, "\nManufacturer:%s", "\nManufacturer:");
  DisplayString(system, 0x05, "\nProduct Name:%s", "\nProduct Name:");
  DisplayString(system, 0x07, "\nSerial Number:%s", "\nSerial Number:");
  DisplayString(system, 0x06, "\nVersion:%s", "\nVersion:");
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
  if (!FindStructure(2, &board)) return;
  ShowStructureHeader(board);
  ShowStringCount(board);
  DisplayString(board, 0x04, "\nManufacturer:%s", "\nManufacturer:");
  DisplayString(board, 0x05, "\nProduct Name:%s", "\nProduct Name:");
  DisplayString(board, 0x07, "\nSerial Number:%s", "\nSerial Number:");
  DisplayString(board, 0x06, "\nVersion:%s\n", "\nVersion:\n");
}

void DisplayBiosInformation() {
  SmbiosStructure bios;
  if (!FindStructure(0, &bios)) return;
  ShowStructureHeader(bios);
  report::DebugPrint(kDebugProgress, "\nVendor Index:%d  Version Index:%d  Date Index:%d", bios.Byte(0x04),
                     bios.Byte(0x05), bios.Byte(0x08));
  ShowStringCount(bios);
  DisplayStringAlways(bios, 0x04, "\nVendor:%s");
  DisplayStringAlways(bios, 0x05, "\nVersion:%s");
  DisplayStringAlways(bios, 0x08, "\nRelease Date:%s\n");
}

void DisplayChassisInformation() {
  SmbiosStructure chassis;
  if (!FindStructure(3, &chassis)) return;
  ShowStructureHeader(chassis);
  ShowStringCount(chassis);
  DisplayString(chassis, 0x04, "\nManufacturer:%s", "\nManufacturer:");
  report::DisplayPrint("\nType:%x", chassis.Byte(0x05));
  DisplayString(chassis, 0x07, "\nSerial Number:%s", "\nSerial Number:");
  DisplayString(chassis, 0x06, "\nVersion:%s", "\nVersion:");
  DisplayString(chassis, 0x08, "\nAsset Tag Number:%s\n", "\nAsset Tag Number:\n");
}

}  // namespace mfgtest
