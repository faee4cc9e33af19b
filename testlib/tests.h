// What the library knows of each test of the module: one row a test.
#pragma once

#include <cstdint>
#include <span>

namespace testlib {

// What a test is like; added up in its row.
inline constexpr std::uint8_t kInLine = 1;  // a line runs it when nobody says otherwise
inline constexpr std::uint8_t kWrites = 2;  // it programs something that outlives a reset
inline constexpr std::uint8_t kIpmi = 4;    // it asks a management controller

struct TestRow {
  std::uint32_t number;
  const char16_t* title;
  std::uint8_t traits;
  // The waits that the IPMI exchange demands of it on a server with three
  // backplanes and two other devices, in milliseconds.
  std::uint32_t waits = 0;

  bool IsInLine() const { return (traits & kInLine) != 0; }
  bool Writes() const { return (traits & kWrites) != 0; }
  bool NeedsIpmi() const { return (traits & kIpmi) != 0; }
};

// All tests that the module has, sorted by number.
std::span<const TestRow> Tests();

// The row of a test, or null for a number that is none.
const TestRow* FindTest(std::uint32_t number);

// The title of a test, or "-" for a number that is no test.
const char16_t* TitleOf(std::uint32_t number);

}  // namespace testlib
