// The tests that have to apply to every machine of an order. Without them, a
// part that was never programmed takes its own test out of the line run.
#pragma once

#include "testlib/parameters.h"

namespace testlib {

inline constexpr const char16_t* kRequiredTestsParameter = u"Required_Tests";

// Takes the first number or range off a list; `found` is false at its end. Gives
// false, with the reason in `error`, for a text that is no such list.
bool TakeRange(std::u16string_view& list, std::uint32_t* first, std::uint32_t* last, bool* found, ErrorText& error);

// Finds out whether the list holds the test: numbers and ranges with blanks or
// commas between them, such as "1-13 34, 36". False, with the reason in
// `error`, for a text that is no such list.
bool FindInTestList(std::u16string_view list, std::uint32_t test, bool* found, ErrorText& error);

}  // namespace testlib
