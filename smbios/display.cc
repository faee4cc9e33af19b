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
  report::ReportError(ErrorCode::kSmbiosEntryPointMissing, u"\nFailed to get SMBIOS Table Entry Point.\n%s",
                      LastError());
  return false;
}

// A missing structure is reported as the system structure, whichever it is.
bool FindStructure(std::uint8_t type, SmbiosStructure* structure) {
  if (GetSmbiosStructure(type, 0, structure)) return true;
  report::ReportError(ErrorCode::kSmbiosStructureMissing, u"\nFailed to get SMBIOS System Structure.\n%s", LastError());
  return false;
}

void ShowStringCount(const SmbiosStructure& structure) {
  report::DebugPrint(kDebugProgress, u"\nNumber of strings found:%d", CountStructureStrings(structure));
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
  report::DisplayPrint(u"\nRaw/Flash GUID = ");
  for (const std::uint8_t byte : uuid) report::DisplayPrint(u"%02x ", byte);
  report::DisplayPrint(u"\n");

  EFI_GUID guid;
  static_assert(sizeof guid == sizeof uuid);
  __builtin_memcpy(&guid, uuid, sizeof guid);
  std::array<char16_t, 40> text;
  FormatText(text, u"%g", &guid);
  const char16_t* const readable = text.data();
  report::DisplayPrint(u"\nHuman Readable GUID = %s\n", readable);
}

bool OperatorStops() {
  char16_t answer[kAnswerCharacters] = {};
  TestLib->Prompt(u"\nPress any key for next structure or S to Stop: ");
  TestLib->ReadInput(answer, kAnswerCharacters, 0);
  answer[kAnswerCharacters - 1] = 0;
  return StriCmpAscii(answer, u"S") == 0;
}

}  // namespace

void DisplaySmbiosEntryPoint() {
  const SmbiosEntryPoint* found = nullptr;
  if (!FindEntryPoint(&found)) return;
  const SmbiosEntryPoint entry = *found;
  const auto character = [](char c) { return static_cast<char16_t>(static_cast<unsigned char>(c)); };
  const char* const anchor = entry.anchor;
  report::DisplayPrint(u"\nAnchor String: %c%c%c%c", character(anchor[0]), character(anchor[1]), character(anchor[2]),
                       character(anchor[3]));
  report::DisplayPrint(u"\nEPSChecksum: 0x%x", std::uint8_t{entry.checksum});
  report::DisplayPrint(u"\nEPLength: 0x%x", std::uint8_t{entry.length});
  report::DisplayPrint(u"\nMajorVersion: 0x%x", std::uint8_t{entry.major_version});
  report::DisplayPrint(u"\nMinorVersion: 0x%x", std::uint8_t{entry.minor_version});
  report::DisplayPrint(u"\nMaxStructSize: 0x%x", std::uint16_t{entry.maximum_structure_size});
  report::DisplayPrint(u"\nEPRevision: 0x%x", std::uint8_t{entry.revision});
  const char* const intermediate = entry.intermediate_anchor;
  report::DisplayPrint(u"\nInterAnchorString: %c%c%c%c%c", character(intermediate[0]), character(intermediate[1]),
                       character(intermediate[2]), character(intermediate[3]), character(intermediate[4]));
  report::DisplayPrint(u"\nInterChecksum:0x%x", std::uint8_t{entry.intermediate_checksum});
  report::DisplayPrint(u"\nStructTableLen:0x%x", std::uint16_t{entry.table_length});
  report::DisplayPrint(u"\nStructTableAddr:0x%x", std::uint32_t{entry.table_address});
  report::DisplayPrint(u"\nNumStruct:0x%x", std::uint16_t{entry.structure_count});
  report::DisplayPrint(u"\nBCDRevision:0x%x\n", std::uint8_t{entry.bcd_revision});
}

void DisplaySystemInformation() {
  SmbiosStructure system;
  if (!FindStructure(1, &system)) return;
  report::DisplayPrint(u"\nStructure Header:");
  report::DisplayPrint(u"\nType: 0x%x   ", system.Type());
  report::DisplayPrint(u"Len: 0x%x   ", system.Length());
  report::DisplayPrint(u"Handle: 0x%x", system.Handle());
  ShowStringCount(system);
  DisplayString(system, 0x04, u"\nManufacturer:%s", u"\nManufacturer:");
  DisplayString(system, 0x05, u"\nProduct Name:%s", u"\nProduct Name:");
  DisplayString(system, 0x07, u"\nSerial Number:%s", u"\nSerial Number:");
  DisplayString(system, 0x06, u"\nVersion:%s", u"\nVersion:");
  DisplayUuid(system);
}

void BrowseSmbiosStructures() {
  const SmbiosEntryPoint* entry = nullptr;
  if (!FindEntryPoint(&entry)) return;
  report::DebugPrint(kDebugProgress, u"\nNumber of structs: %d", std::uint16_t{entry->structure_count});
  for (SmbiosWalk walk(*entry); !walk.AtEnd(); walk.Step()) {
    if (walk.IsNull()) {
      return report::ReportError(ErrorCode::kSmbiosTableAddressNull, u"\nStructure Table Address is NULL");
    }
    const SmbiosStructure& structure = walk.current;
    report::DebugPrint(kDebugProgress, u"\nStructure %d Header:", walk.counter);
    report::DebugPrint(kDebugProgress, u"\nType: 0x%x   ", structure.Type());
    report::DebugPrint(kDebugProgress, u"Len: 0x%x   ", structure.Length());
    report::DebugPrint(kDebugProgress, u"Handle: 0x%x", structure.Handle());
    if (OperatorStops()) return;
  }
}

void DisplayBaseBoardInformation() {
  SmbiosStructure board;
  if (!FindStructure(2, &board)) return;
  ShowStructureHeader(board);
  ShowStringCount(board);
  DisplayString(board, 0x04, u"\nManufacturer:%s", u"\nManufacturer:");
  DisplayString(board, 0x05, u"\nProduct Name:%s", u"\nProduct Name:");
  DisplayString(board, 0x07, u"\nSerial Number:%s", u"\nSerial Number:");
  DisplayString(board, 0x06, u"\nVersion:%s\n", u"\nVersion:\n");
}

void DisplayBiosInformation() {
  SmbiosStructure bios;
  if (!FindStructure(0, &bios)) return;
  ShowStructureHeader(bios);
  report::DebugPrint(kDebugProgress, u"\nVendor Index:%d  Version Index:%d  Date Index:%d", bios.Byte(0x04),
                     bios.Byte(0x05), bios.Byte(0x08));
  ShowStringCount(bios);
  DisplayStringAlways(bios, 0x04, u"\nVendor:%s");
  DisplayStringAlways(bios, 0x05, u"\nVersion:%s");
  DisplayStringAlways(bios, 0x08, u"\nRelease Date:%s\n");
}

void DisplayChassisInformation() {
  SmbiosStructure chassis;
  if (!FindStructure(3, &chassis)) return;
  ShowStructureHeader(chassis);
  ShowStringCount(chassis);
  DisplayString(chassis, 0x04, u"\nManufacturer:%s", u"\nManufacturer:");
  report::DisplayPrint(u"\nType:%x", chassis.Byte(0x05));
  DisplayString(chassis, 0x07, u"\nSerial Number:%s", u"\nSerial Number:");
  DisplayString(chassis, 0x06, u"\nVersion:%s", u"\nVersion:");
  DisplayString(chassis, 0x08, u"\nAsset Tag Number:%s\n", u"\nAsset Tag Number:\n");
}

}  // namespace mfgtest
