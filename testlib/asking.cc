// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/asking.h"

#include "platform/format.h"
#include "testlib/input.h"
#include "testlib/output.h"
#include "testlib/parameter_table.h"
#include "testlib/text_part.h"

namespace testlib {
namespace {

constexpr std::u16string_view kAsk = u"ask";

// Takes the class at the front of the pattern and tells whether it holds the
// character. A class that does not end holds none.
bool TakeClass(std::u16string_view& pattern, char16_t c) {
  const std::size_t end = pattern.find(u']', 1);
  std::u16string_view members = PartFrom(PartBefore(pattern, end), 1);
  pattern = PartFrom(pattern, end == pattern.npos ? pattern.size() : end + 1);
  bool found = false;
  while (!members.empty()) {
    const bool is_range = members.size() >= 3 && members[1] == u'-';
    const char16_t last = is_range ? members[2] : members[0];
    if (members[0] <= c && c <= last) found = true;
    members.remove_prefix(is_range ? 3 : 1);
  }
  return found;
}

// Takes one element other than * off the pattern.
bool TakeElement(std::u16string_view& pattern, char16_t c) {
  if (pattern.front() == u'[') return TakeClass(pattern, c);
  const bool fits = pattern.front() == u'?' || pattern.front() == c;
  pattern.remove_prefix(1);
  return fits;
}

std::u16string_view Trim(std::u16string_view text) {
  while (!text.empty() && text.front() <= u' ') text.remove_prefix(1);
  while (!text.empty() && text.back() <= u' ') text.remove_suffix(1);
  return text;
}

bool ClassesEnd(std::u16string_view pattern) {
  while (true) {
    const std::size_t start = pattern.find(u'[');
    if (start == pattern.npos) return true;
    const std::size_t end = pattern.find(u']', start + 1);
    if (end == pattern.npos || end == start + 1) return false;
    pattern = PartFrom(pattern, end + 1);
  }
}

// A value that means something else to a test.
bool IsReference(std::u16string_view answer) {
  return answer.size() >= 4 && (answer[0] | 0x20) == u'e' && (answer[1] | 0x20) == u'n' && (answer[2] | 0x20) == u'v' &&
         answer[3] == u'=';
}

bool IsAnswer(const Parameter& parameter, const Question& question, std::u16string_view answer) {
  ErrorText reason;
  if (answer.empty()) {
    FormatText(reason, "expected an answer, or Escape to give up");
  } else if (IsAsked(answer) || IsReference(answer)) {
    FormatText(reason, "expected a value");
  } else if (!FitsPattern(answer, question.pattern)) {
    std::array<char16_t, kValueCharacters + 1> pattern{};
    std::ranges::copy(question.pattern, pattern.begin());
    FormatText(reason, "expected %s", pattern.data());
  } else if (CheckParameter(parameter.name.data(), answer, reason)) {
    return true;
  }
  Say(Colour::kNotice, "Again: %s\n", reason.data());
  return false;
}

void SayPrompt(const Parameter& parameter, const Question& question) {
  std::array<char16_t, kValueCharacters + 1> prompt{};
  std::ranges::copy(question.prompt, prompt.begin());
  platform::StartLine();
  if (!question.prompt.empty()) Say(Colour::kNotice, "%s\n", prompt.data());
  Say(Colour::kNotice, "%s: ", parameter.name.data());
}

}  // namespace

bool ReadQuestion(std::u16string_view value, Question* question, ErrorText& error) {
  *question = {};
  std::u16string_view rest = Trim(PartFrom(value, kAsk.size() + 1));
  if (rest.starts_with(u'"')) {
    const std::size_t end = rest.find(u'"', 1);
    question->prompt = PartFrom(PartBefore(rest, end), 1);
    rest = end == rest.npos ? rest : Trim(PartFrom(rest, end + 1));
  }
  question->pattern = rest;
  if (rest.find_first_of(u" \t\"") == rest.npos && ClassesEnd(rest)) return true;
  FormatText(error, "expected ask, or ask:\"prompt\" and a pattern without blanks such as SN-[0-9]*");
  return false;
}

bool FitsPattern(std::u16string_view text, std::u16string_view pattern) {
  if (pattern.empty()) return true;
  // Where the last * stood, and the text that it leaves to what follows.
  std::u16string_view star_pattern;
  std::u16string_view star_text;
  bool has_star = false;
  while (!text.empty() || !pattern.empty()) {
    if (pattern.starts_with(u'*')) {
      pattern.remove_prefix(1);
      star_pattern = pattern;
      star_text = text;
      has_star = true;
      continue;
    }
    if (!text.empty() && !pattern.empty() && TakeElement(pattern, text.front())) {
      text.remove_prefix(1);
      continue;
    }
    if (!has_star || star_text.empty()) return false;
    star_text.remove_prefix(1);
    text = star_text;
    pattern = star_pattern;
  }
  return true;
}

bool Ask(Parameter& parameter) {
  // The answer takes the question's place, and the question is asked again.
  const auto asked = parameter.value;
  Question question;
  ErrorText error;
  if (!ReadQuestion(asked.data(), &question, error)) return false;
  while (true) {
    SayPrompt(parameter, question);
    std::array<char16_t, kValueCharacters + 2> typed;  // one more than any value
    if (!ReadAnswer(typed)) return false;
    const std::u16string_view answer = Trim(typed.data());
    if (!IsAnswer(parameter, question, answer)) continue;
    *std::ranges::copy(answer, parameter.value.begin()).out = 0;
    return true;
  }
}

}  // namespace testlib
