#include "testlib/shell_command.h"

#include <algorithm>

#include "testlib/text_part.h"

namespace testlib {
namespace {

constexpr std::u16string_view kSet = u"set \"";
constexpr std::u16string_view kDelete = u"set -d \"";
constexpr std::u16string_view kBetween = u" \"";

bool IsControl(char16_t c) { return c < u' ' || (c >= 0x7F && c <= 0x9F); }

// Takes the word in front of the next quotation mark, and the mark.
bool TakeWord(std::u16string_view& rest, std::span<char16_t> word) {
  const std::u16string_view text = PartBefore(rest, rest.find(u'"'));
  if (text.empty() || text.size() == rest.size() || text.size() >= word.size()) return false;
  if (std::ranges::any_of(text, IsControl)) return false;
  *std::ranges::copy(text, word.begin()).out = 0;
  rest = PartFrom(rest, text.size() + 1);
  return true;
}

}  // namespace

bool ReadSetCommand(const char16_t* command_line, SetCommand* command) {
  std::u16string_view rest = command_line;
  command->value[0] = 0;
  const bool deletes = rest.starts_with(kDelete);
  if (!deletes && !rest.starts_with(kSet)) return false;
  rest = PartFrom(rest, (deletes ? kDelete : kSet).size());
  if (!TakeWord(rest, command->name)) return false;
  if (deletes) return rest.empty();
  if (!rest.starts_with(kBetween)) return false;
  rest = PartFrom(rest, kBetween.size());
  return TakeWord(rest, command->value) && rest.empty();
}

}  // namespace testlib
