// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/record/comparisons.h"

#include "platform/format.h"
#include "testlib/text_part.h"

namespace testlib {
namespace {

using enum ValueForm;

constexpr const char* kEqual = "EQUAL";
constexpr const char* kNotEqual = "NOT_EQUAL";
constexpr const char* kAtLeast = "GREATER_THAN_OR_EQUAL";
constexpr const char* kAtMost = "LESS_THAN_OR_EQUAL";
constexpr const char* kFruMinutes = "minutes since 1996-01-01";
constexpr std::uint8_t kNone = Comparison::kNone;

constexpr std::size_t kLongestText = 1024;

// Test 40 reports the two the other way round. The size and the speed of memory
// stand in the message only, already as text. An unexpected event is compared
// with nothing.
// clang-format off
constexpr Comparison kTable[] = {
    {"\n%s mismatched. \nExp: \"%s\"\nRec: \"%s\"\n", On(1, 2, 3, 4, 39), nullptr, kEqual, kText, 2, 1},
    {"\n%s mismatched. \nExp:\"%s\"\nRec: \"%s\"\n", On(5, 6, 7, 8), nullptr, kEqual, kText, 2, 1},
    {"\n%s mismatched. \nExp: \"%s\"\nRec:\"%s\"\n", On(9, 11, 12, 13), nullptr, kEqual, kText, 2, 1},
    {"\n%s mismatched. \nExp: \"%x\"\nRec:\"%x\"\n", On(10), nullptr, kEqual, kNumber, 2, 1},
    {"Guid (method=%s): %s\n  Guid Version failed (xxxxxxxx-xxxx-Vxxx-xxxx-xxxxxxxxxxxx):\n  Required:%x,  Received:%x\n", On(14), u"GUID version", kEqual, kNumber, 3, 2},
    {"Guid (method=%s): %s\n  Guid TIME_HI_MIN failed (xxxxxxxx-xxxx-xTTT-xxxx-xxxxxxxxxxxx):\n  Expected minimum:%x,  Received:%x\n", On(14), u"GUID time high", kAtLeast, kNumber, 3, 2},
    {"Guid (method=%s): %s\n  Guid TIME_HI_MAX failed (xxxxxxxx-xxxx-xTTT-xxxx-xxxxxxxxxxxx):\n  Expected maximum:%x,  Received:%x\n", On(14), u"GUID time high", kAtMost, kNumber, 3, 2},
    {"Guid (method=%s): %s\n  Invalid Clock Seq Hi and Reserved. (xxxxxxxx-xxxx-xxxx-CCxx-xxxxxxxxxxxx):\n  Expected binary: 10xxxxxx, Received: 0x%2.2x\n", On(14), u"GUID variant", kEqual, kNumber, 2, kNone, 0x80},
    {"Guid (method=%s): %s\nGuid MAC failed (xxxxxxxx-xxxx-xxxx-xxxx-MMMMMMMMMMMM):\nExpected MAC: %s Received MAC: 00%lx\n", On(14), u"GUID MAC address", kEqual, kMacDigits, 3, 2},
    {"Guid (method=%s): %s\nGuid MAC (OUI portion) failed (xxxxxxxx-xxxx-xxxx-xxxx-MMMMMMCCCCCC):\nExpected OUI: %s Received OUI: 00%lx\n", On(14), u"GUID OUI", kEqual, kMacDigits, 3, 2},
    {"\r\nVerify 1394 GUID test failed. Expected: 0x%lX Received: 0x%lX\r\n", On(33), u"EUI-64", kEqual, kWide, 1, 0},
    {"\r\nMfg Date & Time test failed. Expected: > 0x%x Received: 0x%x.\r\n", On(34), u"MFG_DATE", kAtLeast, kNumber, 1, 0, 0, nullptr, kFruMinutes},
    {"\r\nMfg Date & Time test failed. Expected: > 0x%x Received: 0x%x.\r\n", On(38), u"SYS_BD_MFG_DATE", kAtLeast, kNumber, 1, 0, 0, nullptr, kFruMinutes},
    {"\r\nMfg Date & Time is not programmed. Received: 0x%x\r\n", On(34), u"MFG_DATE", kNotEqual, kNumber, 0, kNone, 0, nullptr, kFruMinutes},
    {"\r\nMfg Date & Time is not programmed. Received: 0x%x\r\n", On(38), u"SYS_BD_MFG_DATE", kNotEqual, kNumber, 0, kNone, 0, nullptr, kFruMinutes},
    {"\r\nBIOS ID check failed. Expected: %s Received: %s\r\n", On(35), u"BIOS_ID", kEqual, kText, 1, 0},
    {"\r\nOEM TABLE ID check failed. Expected: %s Received: %s\r\n", On(35), u"OEM_TABLE_ID", kEqual, kText, 1, 0},
    {"\r\nMemory device %d device locator mismatch. Expected: %s Received: %s\r\n", On(36), u"Memory%u_DeviceLocator", kEqual, kText, 2, 1},
    {"\r\nMemory device %d bank locator mismatch. Expected: %s Received: %s\r\n", On(36), u"Memory%u_BankLocator", kEqual, kText, 2, 1},
    {"\n%s mismatched. \nExp: \"%s\"\nRec: \"%s\"\n", On(40), nullptr, kEqual, kText, 1, 2},
    {"\r\nFRU Infor End Of Field Marker Missing:\t\t\t\nChassis Infor Area: Exp:0xC1h Actual:%s,\t\t\t\nBoard Infor Area  : Exp:0xC1h Actual:%s,\t\t\t\nProduct Infor Area: Exp:0xC1h Actual:%s\n", On(43), u"Chassis area end marker", kEqual, kText, 0, kNone, 0, u"Program"},
    {"\r\nFRU Infor End Of Field Marker Missing:\t\t\t\nChassis Infor Area: Exp:0xC1h Actual:%s,\t\t\t\nBoard Infor Area  : Exp:0xC1h Actual:%s,\t\t\t\nProduct Infor Area: Exp:0xC1h Actual:%s\n", On(43), u"Board area end marker", kEqual, kText, 1, kNone, 0, u"Program"},
    {"\r\nFRU Infor End Of Field Marker Missing:\t\t\t\nChassis Infor Area: Exp:0xC1h Actual:%s,\t\t\t\nBoard Infor Area  : Exp:0xC1h Actual:%s,\t\t\t\nProduct Infor Area: Exp:0xC1h Actual:%s\n", On(43), u"Product area end marker", kEqual, kText, 2, kNone, 0, u"Program"},
};
// clang-format on

std::u16string_view TextOf(std::uint64_t argument) {
  const auto* const text = reinterpret_cast<const char16_t*>(argument);
  std::size_t length = 0;
  while (text != nullptr && length < kLongestText && text[length] != 0) ++length;
  return {text, length};
}

using ValueText = std::array<char16_t, 64>;

ValueText NameOf(const Comparison& row, std::uint64_t first_argument) {
  ValueText name{};
  if (row.name == nullptr) {
    *std::ranges::copy(PartBefore(TextOf(first_argument), name.size() - 1), name.begin()).out = 0;
  } else {
    const FormatArgument argument = {FormatArgument::Kind::kNumber, first_argument};
    FormatArguments(name, row.name, {&argument, 1});
  }
  return name;
}

// A number as the report shows it.
ValueText DigitsOf(ValueForm form, std::uint64_t number) {
  ValueText text{};
  if (form == kWide) FormatText(text, "0x%lX", number);
  if (form == kMacDigits) FormatText(text, "00%lx", number);
  return text;
}

std::uint32_t NumberOf(std::uint64_t argument) { return static_cast<std::uint32_t>(argument); }

void AddReceived(JsonLine& line, const Comparison& row, std::uint64_t argument) {
  if (row.form == kNumber) return AddNumber(line, "value", NumberOf(argument));
  if (row.form == kText) return AddText(line, "value", TextOf(argument));
  AddText(line, "value", DigitsOf(row.form, argument).data());
}

void AddExpected(JsonLine& line, const Comparison& row, const char16_t* name,
                 std::span<const std::uint64_t> arguments) {
  if (row.expected == kNone) {
    if (row.text != nullptr) return AddLimit(line, row.relation, name, row.text);
    return AddLimit(line, row.relation, name, std::int64_t{row.number});
  }
  const std::uint64_t argument = arguments[row.expected];
  if (row.form == kNumber) return AddLimit(line, row.relation, name, std::int64_t{NumberOf(argument)});
  if (row.form == kWide) return AddLimit(line, row.relation, name, DigitsOf(kWide, argument).data());
  AddLimit(line, row.relation, name, TextOf(argument));
}

}  // namespace

std::span<const Comparison> Comparisons() { return kTable; }

bool Comparison::Fits(std::uint32_t test, const char16_t* given_format) const {
  if (!tests.Has(test)) return false;
  const char* own = format;
  for (; *own != 0 && static_cast<char16_t>(*own) == *given_format; ++own) ++given_format;
  return *own == 0 && *given_format == 0;
}

std::size_t Comparison::ArgumentCount() const {
  std::size_t count = 0;
  for (const char* at = format; *at != 0; ++at) count += *at == '%' ? 1 : 0;
  return count;
}

void AddComparison(JsonLine& line, const Comparison& row, std::span<const std::uint64_t> arguments) {
  const ValueText name = NameOf(row, arguments[0]);
  AddText(line, "name", name.data());
  AddReceived(line, row, arguments[row.received]);
  if (row.unit != nullptr) AddAscii(line, "unit", row.unit);
  OpenArray(line, "validators");
  AddExpected(line, row, name.data(), arguments);
  CloseArray(line);
}

void AddLimit(JsonLine& line, const char* relation, std::u16string_view name, std::u16string_view limit) {
  OpenObject(line, nullptr);
  AddText(line, "name", name);
  AddAscii(line, "type", relation);
  AddText(line, "value", limit);
  CloseObject(line);
}

void AddLimit(JsonLine& line, const char* relation, std::u16string_view name, std::int64_t limit) {
  OpenObject(line, nullptr);
  AddText(line, "name", name);
  AddAscii(line, "type", relation);
  AddSigned(line, "value", limit);
  CloseObject(line);
}

}  // namespace testlib
