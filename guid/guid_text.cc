// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "guid/guid_text.h"

#include <algorithm>
#include <bit>
#include <string_view>

#include "platform/numbers.h"
#include "platform/text.h"
#include "report/last_error.h"
#include "report/report.h"

namespace mfgtest {
namespace {

constexpr std::size_t kTextLength = 36;

using TraceFormat = CheckedFormat<const char16_t*, std::uint64_t>;

// Converts `digits` characters from a position of the text.
std::uint64_t ConvertGroup(const char16_t* text, std::size_t digits, std::uint64_t mask, TraceFormat trace) {
  char16_t group[10];
  platform::CopyChars(group, text, digits);
  const std::uint64_t value = platform::HexadecimalNumber(group) & mask;
  report::DebugPrint(kDebugProgress, trace, group, value);
  return value;
}

std::uint16_t ConvertWord(const char16_t* text) {
  return static_cast<std::uint16_t>(ConvertGroup(text, 4, ~std::uint64_t{0}, "\ntmp=%s  converted tmp=%4lX"));
}

std::uint8_t ConvertByte(const char16_t* text) {
  return static_cast<std::uint8_t>(ConvertGroup(text, 2, 0xFF, "\ntmp=%s  converted tmp=%2lX"));
}

}  // namespace

bool StrToGuid(const char16_t* text, EFI_GUID* guid) {
  const std::size_t length = std::u16string_view(text).size();
  report::DebugPrint(kDebugProgress, "\nSize of GUID Str = %d", static_cast<std::uint32_t>(length));
  if (length != kTextLength) {
    SetLastError("Invalid GUID String. Must be XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX.");
    return false;
  }
  EFI_GUID parsed;
  parsed.Data1 = static_cast<std::uint32_t>(ConvertGroup(text, 8, ~std::uint64_t{0}, "\ntmp=%s  converted tmp=%8lX"));
  parsed.Data2 = ConvertWord(text + 9);
  parsed.Data3 = ConvertWord(text + 14);
  parsed.Data4[0] = ConvertByte(text + 19);
  parsed.Data4[1] = ConvertByte(text + 21);
  for (std::size_t i = 0; i < 6; ++i) parsed.Data4[2 + i] = ConvertByte(text + 24 + 2 * i);
  *guid = parsed;
  report::DebugPrint(kDebugProgress, "\n");
  return true;
}

void SwapBytes16(std::uint16_t* value) { *value = static_cast<std::uint16_t>(*value << 8 | *value >> 8); }

void SwapBytes32(std::uint32_t* value) {
  auto high = static_cast<std::uint16_t>(*value >> 16);
  auto low = static_cast<std::uint16_t>(*value);
  SwapBytes16(&high);
  SwapBytes16(&low);
  *value = std::uint32_t{low} << 16 | high;
}

void SwapHalves64(std::uint64_t* value) { *value = *value << 32 | *value >> 32; }

void RawToEfiOrder(std::span<std::uint8_t, kGuidBytes> bytes) {
  EFI_GUID guid = AsEfiGuid(bytes);
  SwapBytes32(&guid.Data1);
  SwapBytes16(&guid.Data2);
  SwapBytes16(&guid.Data3);
  std::ranges::copy(std::bit_cast<RawGuid>(guid), bytes.begin());
}

EFI_GUID AsEfiGuid(std::span<const std::uint8_t, kGuidBytes> bytes) {
  RawGuid raw;
  std::ranges::copy(bytes, raw.begin());
  return std::bit_cast<EFI_GUID>(raw);
}

GuidText RawGuidText(std::span<const std::uint8_t, kGuidBytes> b) {
  GuidText text;
  FormatText(text, "{%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x}", b[0], b[1], b[2], b[3],
             b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
  return text;
}

}  // namespace mfgtest
