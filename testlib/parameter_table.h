// The parameters that tests and library know: one row a name. A name that is in
// no row would be read by nobody, and the value meant for it would never be
// compared.
#pragma once

#include "testlib/parameters.h"

namespace testlib {

enum class ParameterKind : std::uint8_t {
  kText,         // as long as the test has room for
  kAnyText,      // as long as the library has room for
  kNumber,       // of at most 32 bits
  kHexadecimal,  // at most 16 digits, with or without 0x before them
  kTestList,     // such as "1-14 34, 36"
  kYesNo,        // YES or NO, in any case
};

// A set of test numbers.
struct TestSet {
  std::uint64_t bits = 0;

  constexpr bool Has(std::uint32_t test) const { return test < 64 && (bits >> test & 1) != 0; }
};

struct ParameterRow {
  // "#" stands for a number, "##" for one of two digits.
  const char16_t* name;
  ParameterKind kind;
  // Room of the test for the text and its terminator, as it tells the library.
  std::uint16_t bytes;
  // Who reads it; nobody: the library itself.
  TestSet tests;
  // Which tests fail without it.
  TestSet required;
  const char16_t* meaning;

  // The longest value.
  constexpr std::size_t Characters() const {
    return kind == ParameterKind::kText ? bytes / sizeof(char16_t) - 1 : kValueCharacters;
  }
  constexpr bool IsLibrarys() const { return tests.bits == 0; }
};

std::span<const ParameterRow> ParameterTable();

// The row of a name, or null. Names that begin with X_ have none: they are the
// station's own.
const ParameterRow* FindParameterRow(std::u16string_view name);

// Whether a name stands for a row's.
bool IsNameOf(const ParameterRow& row, std::u16string_view name);

// Whether the operator is to be asked for the value: "ask", or "ask:" and how.
bool IsAsked(std::u16string_view value);

// The same text but for capitals.
bool SameIgnoringCase(std::u16string_view a, std::u16string_view b);

// Refuses, with the reason in `error`, a name that no row has and a value that
// its reader cannot take. "env=NAME" counts as it is written: that is what the
// test has to have room for.
bool CheckParameter(std::u16string_view name, std::u16string_view value, ErrorText& error);

// The kind in words, with the limit of a text: "text of at most 31 characters".
std::array<char16_t, 64> KindText(const ParameterRow& row);

}  // namespace testlib
