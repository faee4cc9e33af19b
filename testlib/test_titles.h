// What each test is called for the operator.
#pragma once

#include <cstdint>
#include <span>

namespace testlib {

struct TestTitle {
  std::uint32_t number;
  const char16_t* title;
};

// All tests that the module has, sorted by number.
std::span<const TestTitle> TestTitles();

// The title of a test, or "-" for a number that is no test.
const char16_t* TitleOf(std::uint32_t test);

}  // namespace testlib
