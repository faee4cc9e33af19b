// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/input.h"

#include "testlib/output.h"
#include "testlib/state.h"
#include "testlib/text_part.h"

namespace testlib {
namespace {

constexpr char16_t kControlC = 3;

bool TakeGiven(std::span<char16_t> answer) {
  const auto& answers = state->command_line.answers;
  if (state->answers_used == answers.count) {
    Note("(no answer is left: taken as empty)\n");
    return false;
  }
  const std::u16string_view text = answers.words[state->answers_used++];
  *std::ranges::copy(PartBefore(text, answer.size() - 1), answer.begin()).out = 0;
  Show(answer.data());
  Show(u"  (answer given in advance)\n", Colour::kQuiet);
  return true;
}

// Reads a line from the keyboard, up to Enter or a key of `ends`.
char16_t Type(std::span<char16_t> answer, std::u16string_view ends) {
  PauseLineTimeout();
  std::size_t length = 0;
  char16_t key = platform::ReadKey();
  for (; key != u'\r' && key != u'\n' && ends.find(key) == ends.npos; key = platform::ReadKey()) {
    if (key == u'\b' && length > 0) {
      --length;
      platform::EraseCharacter();
    } else if (key >= u' ' && length + 1 < answer.size()) {
      answer[length++] = key;
      const char16_t echo[] = {key, 0};
      platform::Write(echo);
    }
  }
  answer[length] = 0;
  platform::Write(u"\n");
  ResumeLineTimeout();
  return key;
}

}  // namespace

void ReadLine(std::span<char16_t> answer) {
  answer[0] = 0;
  if (state->command_line.answers.count > 0) {
    TakeGiven(answer);
    return;
  }
  Show(u"(Enter ends the answer) ", Colour::kQuiet);
  Type(answer, {});
}

bool ReadAnswer(std::span<char16_t> answer) {
  answer[0] = 0;
  if (state->command_line.answers.count > 0) return TakeGiven(answer);
  constexpr char16_t kGiveUp[] = {platform::kEscape, kControlC};
  const char16_t end = Type(answer, {kGiveUp, std::size(kGiveUp)});
  return end == u'\r' || end == u'\n';
}

}  // namespace testlib
