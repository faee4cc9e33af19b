// What the module's error codes mean for the line: whose failure it is and what
// to do about it.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace testlib {

// Whom a failure is told of: the unit under test, or the station that tests it.
enum class Blame : std::uint8_t { kUnit, kStation };

struct ErrorRow {
  std::uint32_t code;
  // Part of the message's format, where the code alone does not tell; else null.
  const char16_t* format;
  Blame blame;
  const char16_t* name;  // words with hyphens, for records
  const char16_t* advice;
};

// Sorted by code; a code's rows with a format come before the one without.
std::span<const ErrorRow> ErrorTable();

// The row of an error as it was reported, or null for a code that nobody knows.
// What nobody knows is the unit's.
const ErrorRow* FindError(std::uint64_t code, std::u16string_view format);

}  // namespace testlib
