// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/end_markers.h"

#include "ipmi/field_walk.h"
#include "report/report.h"

namespace mfgtest {
namespace {

constexpr std::uint8_t kEndMarker = 0xC1;
constexpr std::uint8_t kChassisHeaderByte = 2;
constexpr std::uint8_t kProductHeaderByte = 4;
constexpr int kScanReads = 30;

constexpr FruDevice kDevice{.id = 0, .route = FruRoute::kBmc, .report = FruReport::kToLibrary};

// Reads one byte; a failed read gives the byte of the read before.
std::uint8_t ReadByte(std::uint8_t offset_low, std::uint8_t offset_high, FruBuffer* buffer) {
  (void)ReadFruBytes(kDevice, {offset_low, offset_high, 1}, buffer);
  return buffer->Byte();
}

constexpr std::uint8_t Low(std::uint16_t offset) { return static_cast<std::uint8_t>(offset); }
constexpr std::uint8_t High(std::uint16_t offset) { return static_cast<std::uint8_t>(offset >> 8); }

// Looks for the marker from an area's last byte downwards. Kept: every read
// goes to the 256-byte page where the scan began.
bool FindMarker(std::uint16_t last, FruBuffer* buffer) {
  std::uint16_t position = last;
  for (int i = 0; i < kScanReads; ++i, --position) {
    if (ReadByte(Low(position), High(last), buffer) == kEndMarker) return true;
  }
  return false;
}

bool AllAreasPresent(FruBuffer* buffer) {
  for (std::uint8_t header = kChassisHeaderByte; header <= kProductHeaderByte; ++header) {
    const std::uint8_t area = ReadByte(header, 0, buffer);
    report::DebugPrint(kDebugTrace, "Board Area Offset: 0x%0x.\n", area);
    if (IsUnprogrammed(area)) return false;
  }
  return true;
}

// The three areas are taken to follow one another; only the first one's offset
// is read from the header. The cursor is an area's last byte.
struct AreaWalk {
  std::uint16_t cursor;
  FruBuffer* buffer;

  bool FindInChassisArea() {
    const std::uint8_t area = ReadByte(kChassisHeaderByte, 0, buffer);
    report::DebugPrint(kDebugTrace, "Board Area Offset: 0x%0x.\n", area);
    cursor = static_cast<std::uint16_t>(area * 8 + 1);
    report::DebugPrint(kDebugTrace, "FRU Name Type Offset: 0x%0x.\n", cursor);
    // Kept: the length is read from the first page wherever the area lies.
    const std::uint8_t length = ReadByte(Low(cursor), 0, buffer);
    report::DebugPrint(kDebugProgress, " chassis fru lenght 0x%0xh\n", length);
    cursor = static_cast<std::uint16_t>(cursor + length * 8 - 2);
    return FindMarker(cursor, buffer);
  }

  bool FindInNextArea(CheckedFormat<std::uint8_t> length_line) {
    cursor = static_cast<std::uint16_t>(cursor + 2);
    const std::uint8_t length = ReadByte(Low(cursor), High(cursor), buffer);
    report::DebugPrint(kDebugProgress, length_line, length);
    cursor = static_cast<std::uint16_t>(cursor - 2 + length * 8);
    return FindMarker(cursor, buffer);
  }
};

const char16_t* MarkerText(bool found) { return found ? u"Program" : u"Missing"; }

}  // namespace

bool VerifyFruEndMarkers(Mode mode) {
  // The station's log expects the query; its answer changes nothing here.
  GetBmcOemCode();
  // Kept: a probe without a transport is reported as well.
  if (!RequireIpmi(Mode::kTest)) return false;
  FruBuffer buffer;
  if (mode == Mode::kProbe && !AllAreasPresent(&buffer)) return false;

  AreaWalk walk{.cursor = 0, .buffer = &buffer};
  const bool chassis = walk.FindInChassisArea();
  const bool board = walk.FindInNextArea(" Board fru lenght 0x%0xh\n");
  const bool product = walk.FindInNextArea(" product fru lenght 0x%0xh\n");
  report::DebugPrint(kDebugProgress, "chassis %d Board %d product %d\n", chassis, board, product);
  if (chassis && board && product) return true;
  report::ReportError(
      ErrorCode::kEndMarkerMissing,
      "\r\nFRU Infor End Of Field Marker Missing:\t\t\t\nChassis Infor Area: Exp:0xC1h Actual:%s,\t\t\t\nBoard Infor Area  : Exp:0xC1h Actual:%s,\t\t\t\nProduct Infor Area: Exp:0xC1h Actual:%s\n",
      MarkerText(chassis), MarkerText(board), MarkerText(product));
  return false;
}

}  // namespace mfgtest
