// SPDX-License-Identifier: BSD-2-Clause-Patent
// Which argument of a failure report is what was expected, and which what was
// received.
#pragma once

#include <span>

#include "testlib/parameter_table.h"
#include "testlib/record/json_line.h"

namespace testlib {

// How the two values are given.
enum class ValueForm : std::uint8_t {
  kText,
  kNumber,    // of 32 bits
  kWide,      // of 64 bits: as text, since a reader's number may have fewer
  kMacDigits  // expected as text, received as a number
};

struct Comparison {
  const char* format;
  TestSet tests;
  const char16_t* name;  // "%u" stands for argument 0; null: argument 0 is the name
  const char* relation;  // of the value received to the one expected
  ValueForm form;
  std::uint8_t received;           // argument
  std::uint8_t expected;           // argument, or kNone
  std::uint32_t number = 0;        // expected where no argument is
  const char16_t* text = nullptr;  // likewise
  const char* unit = nullptr;

  static constexpr std::uint8_t kNone = 0xFF;
  static constexpr std::size_t kArguments = 8;  // the most that a row's format has

  // The whole format has to be the row's: an argument of another kind is not to
  // be read as this one.
  bool Fits(std::uint32_t test, const char16_t* given_format) const;
  std::size_t ArgumentCount() const;
};

std::span<const Comparison> Comparisons();

// The members of a measurement: name, value and the limit that it missed.
void AddComparison(JsonLine& line, const Comparison& row, std::span<const std::uint64_t> arguments);

// One limit.
void AddLimit(JsonLine& line, const char* relation, std::u16string_view name, std::u16string_view limit);
void AddLimit(JsonLine& line, const char* relation, std::u16string_view name, std::int64_t limit);

}  // namespace testlib
