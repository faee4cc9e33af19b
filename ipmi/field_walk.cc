// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/field_walk.h"

#include <algorithm>

#include "report/last_error.h"
#include "report/report.h"

namespace mfgtest {
namespace {

constexpr std::uint8_t kLengthMask = 0x3F;
constexpr std::size_t kKeyCharacters = 256;

// What a read that may have failed means for the walk.
FieldResult Judge(const FieldWalk& walk, bool read) {
  if (walk.on_failure == OnReadFailure::kGoOn) return FieldResult::kRead;
  if (!read) return FieldResult::kReadFailed;
  return walk.buffer->completion_code != 0 ? FieldResult::kCompletionCode : FieldResult::kRead;
}

// The length that the field's type/length byte gives.
FieldResult ReadLength(const FieldWalk& walk, const FruField& field, std::uint32_t* length) {
  FruBuffer& buffer = *walk.buffer;
  const bool read = ReadFruBytes(walk.device, {walk.offset, 0, 1}, &buffer);
  if (const FieldResult result = Judge(walk, read); result != FieldResult::kRead) return result;
  const std::uint8_t type_length = buffer.Byte();
  report::DebugPrint(kDebugTrace, field.type_line, type_length, buffer.length);
  *length = type_length & kLengthMask;
  report::DebugPrint(kDebugTrace, field.length_line, *length);
  return FieldResult::kRead;
}

// The characters behind the type/length byte, one byte each whatever the type.
FieldResult ReadText(const FieldWalk& walk, std::uint32_t length, FruText& text) {
  const FruRange range{walk.offset, 0, static_cast<std::uint8_t>(length + 1)};
  const bool read = ReadFruBytesNoCount(walk.device, range, walk.buffer);
  if (const FieldResult result = Judge(walk, read); result != FieldResult::kRead) return result;
  std::ranges::copy(walk.buffer->FieldText(length), text.data());
  text[length] = 0;
  return FieldResult::kRead;
}

// Under "display.cfg:", the device's name and a suffix.
void Publish(const char16_t* device_name, const char16_t* suffix, const FruText& text) {
  std::array<char16_t, kKeyCharacters> key;
  FormatText(key, "display.cfg:%s%s", device_name, suffix);
  TestLib->SetResultString(key.data(), text.data());
}

}  // namespace

FruAreaKind AreaKindOf(std::uint8_t device_id) {
  const bool is_product = device_id >= 1 && device_id <= 3;
  return is_product ? FruAreaKind{.is_product = true, .header_byte = 4, .first_field = 3}
                    : FruAreaKind{.is_product = false, .header_byte = 3, .first_field = 6};
}

FieldResult ReadFruField(FieldWalk& walk, const FruField& field, LengthRule rule, FruText& text) {
  std::uint32_t length = 0;
  if (const FieldResult result = ReadLength(walk, field, &length); result != FieldResult::kRead) return result;
  if (length < rule.least || length > rule.most) return FieldResult::kWrongLength;
  if (const FieldResult result = ReadText(walk, length, text); result != FieldResult::kRead) return result;
  walk.offset = static_cast<std::uint8_t>(walk.offset + length + 1);
  return FieldResult::kRead;
}

bool ReadAreaOffset(const FruDevice& device, FruAreaKind kind, FruBuffer* buffer) {
  return ReadFruBytes(device, {kind.header_byte, 0, 1}, buffer);
}

TryResult FailField(FieldResult result, std::uint8_t completion_code, bool last, Mode mode) {
  if (result == FieldResult::kWrongLength || !last) return TryResult::kNextTry;
  if (result == FieldResult::kCompletionCode && mode == Mode::kProbe) {
    SetLastError("Completion code error %02x", completion_code);
  } else if (result == FieldResult::kCompletionCode) {
    report::ReportError(ErrorCode::kFruReadFailed, "Completion code error %02x.\n", completion_code);
  } else if (mode == Mode::kTest) {
    // The read itself has left a probe's reason.
    report::ReportError(ErrorCode::kFruReadFailed, "IPMI read FRU error.\n");
  }
  return TryResult::kFailed;
}

void PublishFruIdentity(const char16_t* device_name, const FruTexts& texts) {
  Publish(device_name, u" Manufacture", texts.manufacturer);
  Publish(device_name, u" Serial Number", texts.serial_number);
  Publish(device_name, u" Part Number", texts.part_number);
}

}  // namespace mfgtest
