// SPDX-License-Identifier: BSD-2-Clause-Patent
// The walk over the type/length fields of a FRU's board or product info area
// (FRU Information Storage Definition, "Board Info Area Format", "Product Info
// Area Format" and "Type/Length Byte Format").
#pragma once

#include "ipmi/fru_access.h"
#include "platform/format.h"

namespace mfgtest {

inline constexpr std::size_t kFruTextLength = 70;
using FruText = std::array<char16_t, kFruTextLength + 1>;

struct FruTexts {
  FruText manufacturer{};
  FruText product_name{};
  FruText serial_number{};
  FruText part_number{};
  FruText version{};
};

// How a device keeps its identity: which byte of the common header leads to
// its area, and where the area's first field lies.
struct FruAreaKind {
  bool is_product;
  std::uint8_t header_byte;
  std::uint8_t first_field;
};

// Devices 1 to 3, power distribution and supplies, have a product area; all
// others a board area.
FruAreaKind AreaKindOf(std::uint8_t device_id);

// What a header byte says of an area that was never programmed: an erased
// byte, or one of the characters of a header that was filled with text.
constexpr bool IsUnprogrammed(std::uint8_t area_offset) { return area_offset == 0 || area_offset == 0xFF; }
constexpr bool IsUnprogrammedOrText(std::uint8_t area_offset) {
  return IsUnprogrammed(area_offset) || area_offset == 0x30 || area_offset == 0x2E;
}

// The debug lines of a field: its type/length byte with the length of the read
// that brought it, and its length.
struct FruField {
  CheckedFormat<std::uint8_t, std::uint32_t> type_line;
  CheckedFormat<std::uint32_t> length_line;
};
inline constexpr FruField kManufacturerField{"Mfg Name Type: 0x%0x. len: %x\n", "Mfg Name Len: 0x%0x\n"};
inline constexpr FruField kProductNameField{"Product Name Type: 0x%0x. len: %x\n", "Product Name Len: 0x%0x\n"};
inline constexpr FruField kSerialNumberField{"Serial Number Type: 0x%0x. len: %x\n", "Serial Number Len: 0x%0x\n"};
inline constexpr FruField kPartNumberField{"Part Number Type: 0x%0x. len: %x\n", "Part Number Len: 0x%0x\n"};

struct LengthRule {
  std::uint32_t least;
  std::uint32_t most;
};
inline constexpr LengthRule kAnyLength{0, 0x3F};

enum class FieldResult { kRead, kReadFailed, kCompletionCode, kWrongLength };
enum class OnReadFailure { kStop, kGoOn };

struct FieldWalk {
  FruDevice device;
  OnReadFailure on_failure;
  FruBuffer* buffer;
  // Of the next field's type/length byte. It wraps at 256: only the first page
  // of a FRU is walked.
  std::uint8_t offset;
};

// The offset of an area's first field, from the area's offset byte.
constexpr std::uint8_t FirstFieldOffset(std::uint8_t area_offset, FruAreaKind kind) {
  return static_cast<std::uint8_t>(area_offset * 8 + kind.first_field);
}

// Reads one field, writes its text and moves on to the next field. Stops where
// it was, the text unchanged, when a read fails or the length breaks the rule;
// a walk that goes on after failed reads takes the bytes that the buffer holds.
[[nodiscard]] FieldResult ReadFruField(FieldWalk& walk, const FruField& field, LengthRule rule, FruText& text);

// Reads the byte of the common header that leads to the device's area.
[[nodiscard]] bool ReadAreaOffset(const FruDevice& device, FruAreaKind kind, FruBuffer* buffer);

// The outcome of one of the three tries that a device gets.
enum class TryResult { kComplete, kNextTry, kFailed };
inline constexpr std::uint32_t kFruTries = 3;
constexpr bool IsLastTry(std::uint32_t attempt) { return attempt == kFruTries - 1; }

// Tries until one is complete or has failed; kNextTry when none was either.
template <class Once>
TryResult TryThreeTimes(Once once) {
  TryResult result = TryResult::kNextTry;
  for (std::uint32_t attempt = 0; attempt < kFruTries && result == TryResult::kNextTry; ++attempt) {
    result = once(attempt);
  }
  return result;
}

// A field that could not be read: the next try may bring it, the last one says
// so. A length against the rule is never said.
TryResult FailField(FieldResult result, std::uint8_t completion_code, bool last, Mode mode);

// Hands manufacturer, serial number and part number to the station under
// "display.cfg:" and the device's name. Kept: the product name is not
// published.
void PublishFruIdentity(const char16_t* device_name, const FruTexts& texts);

}  // namespace mfgtest
