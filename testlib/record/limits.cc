// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/record/limits.h"

#include <algorithm>

#include "platform/variables.h"
#include "testlib/parameter_table.h"
#include "testlib/record/comparisons.h"
#include "testlib/text_part.h"

namespace testlib {
namespace {

enum class Limit : std::uint8_t {
  kText,            // as it is given
  kTrimmedText,     // against the result without trailing blanks
  kTextOrVariable,  // likewise, or the variable that it names
  kVariable,        // likewise, but nothing when it names none
  kNumber,
  kWord,   // the lower 16 bits of a number
  kSpeed,  // likewise, with a tolerance when one is given
};

struct LimitRow {
  std::u16string_view parameter;
  Limit limit;
};

constexpr LimitRow kTable[] = {
    {u"System_Manufacturer", Limit::kTextOrVariable},
    {u"System_Product", Limit::kTextOrVariable},
    {u"System_Part_Number", Limit::kTextOrVariable},
    {u"System_Serial_Number", Limit::kTextOrVariable},
    {u"Board_Manufacturer", Limit::kTextOrVariable},
    {u"Board_Product", Limit::kTextOrVariable},
    {u"Board_Part_Number", Limit::kTextOrVariable},
    {u"Board_Serial_Number", Limit::kTextOrVariable},
    {u"Chassis_Manufacturer", Limit::kTextOrVariable},
    {u"Chassis_Type", Limit::kNumber},
    {u"Chassis_Part_Number", Limit::kTextOrVariable},
    {u"Chassis_Serial_Number", Limit::kTextOrVariable},
    {u"Chassis_Asset", Limit::kTextOrVariable},
    {u"BIOS_ID", Limit::kText},
    {u"OEM_TABLE_ID", Limit::kText},
    {u"Memory#_DeviceLocator", Limit::kText},
    {u"Memory#_BankLocator", Limit::kText},
    {u"Memory#_Speed", Limit::kSpeed},
    {u"Memory#_Size", Limit::kWord},
    {u"SYS_BOARDS_MANUFACTURER_NAME", Limit::kTrimmedText},
    {u"SYS_BOARDS_PRODUCT_NAME", Limit::kTextOrVariable},
    {u"SYS_BOARDS_SERIAL_NUMBER", Limit::kTextOrVariable},
    {u"SYS_BOARDS_PART_NUMBER", Limit::kVariable},
    {u"OEM_BIOS_String", Limit::kTrimmedText},
};

constexpr std::size_t kPrefix = 4;  // env=

// No variable store comes near this.
constexpr unsigned kMostVariables = 65536;

const LimitRow* FindRow(std::u16string_view name) {
  const ParameterRow* const parameter = FindParameterRow(name);
  if (parameter == nullptr) return nullptr;
  const auto* const found = std::ranges::find(kTable, std::u16string_view(parameter->name), &LimitRow::parameter);
  return found == std::end(kTable) ? nullptr : found;
}

// As the tests find it: the first variable of that name, whosever it is.
bool ReadVariable(std::u16string_view name, VariableText& value) {
  platform::VariableCursor cursor;
  for (unsigned seen = 0; seen < kMostVariables && platform::NextVariable(cursor); ++seen) {
    if (!SameIgnoringCase(cursor.name.data(), name)) continue;
    const platform::PoolBuffer data = platform::ReadVariable(cursor.name.data(), cursor.vendor);
    if (data.data == nullptr) return false;
    const std::size_t characters = std::min(data.size / sizeof(char16_t), value.size() - 1);
    std::copy_n(static_cast<const char16_t*>(data.data), characters, value.begin());
    value[characters] = 0;
    return true;
  }
  return false;
}

void AddSpeedLimits(JsonLine& line, const ParameterStore& parameters, std::u16string_view name, std::uint16_t speed) {
  const Parameter* const given = Find(parameters, u"Memory_Speed_Tolerance");
  std::uint32_t number = 0;
  if (given == nullptr || !ParseNumber(given->value.data(), &number)) {
    return AddLimit(line, "EQUAL", name, std::int64_t{speed});
  }
  const auto tolerance = static_cast<std::uint16_t>(number);
  AddLimit(line, "GREATER_THAN_OR_EQUAL", name, std::int64_t{speed} - tolerance);
  AddLimit(line, "LESS_THAN_OR_EQUAL", name, std::int64_t{speed} + tolerance);
}

void AddNumberLimits(JsonLine& line, const ParameterStore& parameters, const LimitRow& row, std::u16string_view name,
                     std::uint32_t number) {
  const auto word = static_cast<std::uint16_t>(number);
  if (row.limit == Limit::kNumber) return AddLimit(line, "EQUAL", name, std::int64_t{number});
  if (row.limit == Limit::kWord) return AddLimit(line, "EQUAL", name, std::int64_t{word});
  AddSpeedLimits(line, parameters, name, word);
}

bool IsNumber(Limit limit) { return limit == Limit::kNumber || limit == Limit::kWord || limit == Limit::kSpeed; }
bool Resolves(Limit limit) { return limit == Limit::kTextOrVariable || limit == Limit::kVariable; }

}  // namespace

bool NamesVariable(std::u16string_view value) { return SameIgnoringCase(PartBefore(value, kPrefix), u"env="); }

bool Resolve(const char16_t* value, VariableText& resolved) {
  resolved[0] = 0;
  if (NamesVariable(value)) return ReadVariable(value + kPrefix, resolved);
  *std::ranges::copy(PartBefore(value, resolved.size() - 1), resolved.begin()).out = 0;
  return true;
}

std::u16string_view Compared(std::u16string_view name, std::u16string_view value) {
  const LimitRow* const row = FindRow(name);
  if (row == nullptr || row->limit == Limit::kText || IsNumber(row->limit)) return value;
  while (!value.empty() && value.back() == u' ') value.remove_suffix(1);
  return value;
}

void AddLimits(JsonLine& line, const ParameterStore& parameters, std::u16string_view name) {
  const LimitRow* const row = FindRow(name);
  if (row == nullptr) return;
  const Parameter* given = nullptr;
  for (const Parameter& parameter : parameters.All()) {
    if (Holds(parameter.name, name)) given = &parameter;
  }
  if (given == nullptr) return;
  const char16_t* const value = given->value.data();
  std::uint32_t number = 0;
  VariableText text;
  if (IsAsked(value) || (IsNumber(row->limit) && !ParseNumber(value, &number))) return;
  if (row->limit == Limit::kVariable && !NamesVariable(value)) return;
  if (Resolves(row->limit) && !Resolve(value, text)) return;
  OpenArray(line, "validators");
  if (IsNumber(row->limit)) {
    AddNumberLimits(line, parameters, *row, name, number);
  } else {
    AddLimit(line, "EQUAL", name, Resolves(row->limit) ? text.data() : value);
  }
  CloseArray(line);
}

}  // namespace testlib
