#include "ipmi/field_walk.h"

#include <algorithm>

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

// The characters behind the type/length byte, one byte each whatever the type.
void TakeText(const FruBuffer& buffer, std::uint32_t length, FruText& text) {
  std::copy_n(&buffer.bytes[1], length, text.data());
  text[length] = 0;
}

}  // namespace

FruAreaKind AreaKindOf(std::uint8_t device_id) {
  const bool is_product = device_id >= 1 && device_id <= 3;
  return is_product ? FruAreaKind{.is_product = true, .header_byte = 4, .first_field = 3}
                    : FruAreaKind{.is_product = false, .header_byte = 3, .first_field = 6};
}

FieldResult ReadFruField(FieldWalk& walk, const FruField& field, LengthRule rule, FruText& text) {
  FruBuffer& buffer = *walk.buffer;
  const bool type_read = ReadFruBytes(walk.device, {walk.offset, 0, 1}, &buffer);
  if (const FieldResult result = Judge(walk, type_read); result != FieldResult::kRead) return result;
  report::DebugPrint(kDebugTrace, field.type_line, buffer.Byte(), buffer.length);
  const std::uint32_t length = buffer.Byte() & kLengthMask;
  report::DebugPrint(kDebugTrace, field.length_line, length);
  if (length < rule.least || length > rule.most) return FieldResult::kWrongLength;

  const FruRange range{walk.offset, 0, static_cast<std::uint8_t>(length + 1)};
  const bool text_read = ReadFruBytesNoCount(walk.device, range, &buffer);
  if (const FieldResult result = Judge(walk, text_read); result != FieldResult::kRead) return result;
  TakeText(buffer, length, text);
  walk.offset = static_cast<std::uint8_t>(walk.offset + length + 1);
  return FieldResult::kRead;
}

bool ReadAreaOffset(const FruDevice& device, FruAreaKind kind, FruBuffer* buffer) {
  return ReadFruBytes(device, {kind.header_byte, 0, 1}, buffer);
}

void PublishFruRecord(const char16_t* device_name, const char16_t* suffix, const FruText& text) {
  std::array<char16_t, kKeyCharacters> key;
  FormatText(key, "display.cfg:%s%s", device_name, suffix);
  TestLib->SetResultString(key.data(), text.data());
}

}  // namespace mfgtest
