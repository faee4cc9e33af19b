#include "testlib/required_tests.h"

#include "platform/format.h"
#include "testlib/text_part.h"

namespace testlib {
namespace {

constexpr std::u16string_view kSeparators = u" \t,";

// A number, or two of them around a hyphen.
bool ParseRange(std::u16string_view word, std::uint32_t* first, std::uint32_t* last) {
  const std::size_t hyphen = std::min(word.find(u'-'), word.size());
  if (!ParseNumber(PartBefore(word, hyphen), first)) return false;
  *last = *first;
  return hyphen == word.size() || (ParseNumber(PartFrom(word, hyphen + 1), last) && *first <= *last);
}

}  // namespace

bool TakeRange(std::u16string_view& list, std::uint32_t* first, std::uint32_t* last, bool* found, ErrorText& error) {
  list = PartFrom(list, list.find_first_not_of(kSeparators));
  *found = !list.empty();
  if (list.empty()) return true;
  const std::u16string_view word = PartBefore(list, list.find_first_of(kSeparators));
  if (!ParseRange(word, first, last)) {
    FormatText(error, "expected test numbers and ranges such as \"1-13 34 36\", found \"%s\"", list.data());
    return false;
  }
  list = PartFrom(list, word.size());
  return true;
}

bool FindInTestList(std::u16string_view list, std::uint32_t test, bool* found, ErrorText& error) {
  *found = false;
  while (true) {
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    bool has_range = false;
    if (!TakeRange(list, &first, &last, &has_range, error)) return false;
    if (!has_range) return true;
    if (first <= test && test <= last) *found = true;
  }
}

}  // namespace testlib
