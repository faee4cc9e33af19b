#include "testlib/shell_command.h"

#include <string_view>

namespace testlib {
namespace {

using Word = std::array<char16_t, kShellTextCharacters>;

bool IsBlank(char16_t c) { return c == u' ' || c == u'\t'; }

const char16_t* SkipBlanks(const char16_t* cursor) {
  while (IsBlank(*cursor)) ++cursor;
  return cursor;
}

// Takes a word without its quotation marks; null when the marks do not close
// or the word is too long. At the end of the text the word is empty.
const char16_t* TakeWord(const char16_t* cursor, Word& word) {
  cursor = SkipBlanks(cursor);
  bool quoted = false;
  std::size_t length = 0;
  for (; *cursor != 0 && (quoted || !IsBlank(*cursor)); ++cursor) {
    if (*cursor == u'"') {
      quoted = !quoted;
    } else if (length + 1 < word.size()) {
      word[length++] = *cursor;
    } else {
      return nullptr;
    }
  }
  word[length] = 0;
  return quoted ? nullptr : cursor;
}

bool Is(const Word& word, std::u16string_view text) { return text == word.data(); }

bool IsSet(const Word& word) {
  return (word[0] | 0x20) == u's' && (word[1] | 0x20) == u'e' && (word[2] | 0x20) == u't' && word[3] == 0;
}

}  // namespace

bool ReadSetCommand(const char16_t* command_line, SetCommand* command) {
  const char16_t* cursor = TakeWord(command_line, command->name);
  if (cursor == nullptr || !IsSet(command->name)) return false;
  cursor = TakeWord(cursor, command->name);
  if (cursor == nullptr) return false;
  const bool deletes = Is(command->name, u"-d");
  command->is_volatile = Is(command->name, u"-v");
  if (deletes || command->is_volatile) cursor = TakeWord(cursor, command->name);
  command->value[0] = 0;
  if (cursor != nullptr && !deletes) cursor = TakeWord(cursor, command->value);
  if (cursor == nullptr || *SkipBlanks(cursor) != 0 || command->name[0] == 0) return false;
  return deletes != (command->value[0] != 0);
}

}  // namespace testlib
