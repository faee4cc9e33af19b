// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/output.h"

#include <algorithm>

#include "platform/bridges.h"
#include "testlib/parameter_table.h"
#include "testlib/required_results.h"
#include "testlib/state.h"
#include "testlib/tests.h"
#include "testlib/text_part.h"

namespace testlib {
namespace {

const char16_t* ErrorWord(std::uint32_t count) { return count == 1 ? u"error" : u"errors"; }

Colour ColourOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kPass:
      return Colour::kGood;
    case Verdict::kSkip:
      return Colour::kNotice;
    default:
      return Colour::kBad;
  }
}

// A run whose command line names no test shows a dash.
std::array<char16_t, 12> TestNumberText(const Run& run) {
  std::array<char16_t, 12> text{u'-'};
  if (run.has_test) FormatText(text, "%u", run.test);
  return text;
}

using Extras = std::array<char16_t, 64>;

// What made a run take longer, when there was any of it.
Extras ExtrasText(const Run& run) {
  Extras text{};
  const std::uint64_t tenths = (run.waited + 50) / 100;
  std::size_t length = 0;
  if (run.waited != 0) {
    length = FormatText(text, ", %lu.%u s of waits", tenths / 10, static_cast<std::uint32_t>(tenths % 10));
  }
  const std::uint32_t repeats = run.Repeats();
  if (repeats != 0) {
    FormatText(std::span(text).subspan(length), ", %u %s", repeats, repeats == 1 ? u"repeat" : u"repeats");
  }
  return text;
}

// A run of the summary's table.
void SayRow(const Run& run, bool is_earlier) {
  const auto number = TestNumberText(run);
  const std::uint64_t seconds = run.hundredths / 100;
  const auto fraction = static_cast<std::uint32_t>(run.hundredths % 100);
  Say(is_earlier ? Colour::kQuiet : ColourOf(run.verdict), "  %4s  %.-30s %.-7s  %6u  %4lu.%02u%s\n", number.data(),
      run.has_test ? TitleOf(run.test) : u"-", VerdictText(run.verdict), run.errors, seconds, fraction,
      is_earlier ? u"  (not counted)" : u"");
}

void SayLeftAligned(const char16_t* text, std::size_t width) {
  platform::Write(text);
  for (std::size_t length = std::u16string_view(text).size(); length < width; ++length) platform::Write(u" ");
}

constexpr std::size_t kColumns = 79;

// Where a line of at most `room` characters ends: at a blank, when it has one.
std::size_t LineEnd(std::u16string_view text, std::size_t room) {
  if (text.size() <= room) return text.size();
  const std::size_t blank = PartBefore(text, room + 1).rfind(u' ');
  return blank == text.npos || blank == 0 ? room : blank;
}

// Goes on at `column`, with further lines from that column on too, and ends the
// line. A column that leaves no room wraps as the console does.
void SayWrapped(Colour colour, std::size_t column, std::u16string_view text) {
  const std::size_t room = column + 20 < kColumns ? kColumns - column : text.size();
  while (true) {
    const std::size_t end = LineEnd(text, room);
    std::array<char16_t, 512> line;
    *std::ranges::copy(PartBefore(text, std::min(end, line.size() - 1)), line.begin()).out = 0;
    text = PartFrom(text, text.find_first_not_of(u' ', end));
    Say(colour, "%s\n", line.data());
    if (text.empty()) return;
    SayLeftAligned(u"", column);
  }
}

// Two columns: what `label` gives for a result, unless it gives null, and the
// value.
template <class Label>
void SayResults(Label label) {
  const auto is_shown = [&](const Result& result) { return result.is_published && label(result) != nullptr; };
  std::size_t width = 0;
  for (const Result& result : state->results.All()) {
    if (is_shown(result)) width = std::max(width, std::u16string_view(label(result)).size());
  }
  for (const Result& result : state->results.All()) {
    if (!is_shown(result)) continue;
    platform::Write(u"  ");
    SayLeftAligned(label(result), width);
    platform::Write(u"  ");
    SayWrapped(Colour::kNormal, width + 4, result.value.data());
  }
}

void SayIndented(Colour colour, std::size_t column, const char16_t* text) {
  SayLeftAligned(u"", column);
  SayWrapped(colour, column, text);
}

void SayBridge(const char16_t* text) {
  platform::Write(u"  bridge: ", Colour::kNotice);
  SayWrapped(Colour::kNotice, 10, text);
}

void SayRemovedTests() {
  for (std::uint32_t test = 0; test < RemovedTests::kTests; ++test) {
    const RemovedTests::Removal* const removal = FindRemoval(state->removed, test);
    if (removal == nullptr) continue;
    std::array<char16_t, 384> text;
    FormatText(text, "test %u does not apply (removed by test %u): %s", test, removal->by, removal->reason.data());
    SayIndented(Colour::kNotice, 2, text.data());
  }
}

void SayParameter(const char16_t* indent, const Parameter& parameter) {
  Say(Colour::kNormal, "%s%s = \"%s\"", indent, parameter.name.data(), parameter.value.data());
  Say(Colour::kQuiet, "  (%s)\n", OriginOf(parameter).data());
}

// What is given of a row, then what it is for.
void SayParameterRow(const ParameterRow& row, bool is_required) {
  bool is_given = false;
  for (const Parameter& parameter : state->parameters.All()) {
    if (!IsNameOf(row, parameter.name.data())) continue;
    SayParameter(u"  ", parameter);
    is_given = true;
  }
  if (!is_given && is_required) Say(Colour::kBad, "  %s: missing\n", row.name);
  if (!is_given && !is_required) Say(Colour::kNormal, "  %s: not given\n", row.name);
  Say(Colour::kQuiet, "      %s\n      %s%s\n", row.meaning, KindText(row).data(), is_required ? u", required" : u"");
}

// Names of parameters in lines that a console of 80 columns does not wrap.
template <class Predicate>
void SayNames(Predicate is_wanted) {
  constexpr std::u16string_view kIndent = u"     ";
  std::size_t column = 0;
  for (const ParameterRow& row : ParameterTable()) {
    if (!is_wanted(row)) continue;
    const std::size_t width = 1 + std::u16string_view(row.name).size();
    if (column + width > kColumns) {
      platform::Write(u"\n");
      column = 0;
    }
    if (column == 0) Say(Colour::kNormal, "%s", kIndent.data());
    column = (column == 0 ? kIndent.size() : column) + width;
    Say(Colour::kQuiet, " %s", row.name);
  }
  if (column != 0) platform::Write(u"\n");
}

// What has to be done about this line, so that it is what stands on the screen.
void SayFailures() {
  const RunHistory& history = state->history;
  for (std::uint32_t i = history.line_start; i < history.Kept().size(); ++i) {
    const Run& run = history.runs[i];
    if (run.verdict != Verdict::kFail && run.verdict != Verdict::kError) continue;
    Say(Colour::kBad, "%s test %s \"%s\":\n", VerdictText(run.verdict), TestNumberText(run).data(),
        run.has_test ? TitleOf(run.test) : u"-");
    SayIndented(Colour::kBad, 2, run.reason.data());
    if (run.advice != nullptr) Say(Colour::kNotice, "  -> %s\n", run.advice);
  }
  for (const Result& result : state->results.All()) {
    if (!IsMissing(result)) continue;
    Say(Colour::kBad, "FAIL required result missing or empty:\n");
    SayIndented(Colour::kBad, 2, result.key.data());
  }
}

}  // namespace

bool Tracing() { return state->command_line.trace; }

void Show(const char16_t* text, Colour colour) {
  if (!Tracing()) platform::Write(text, colour);
}

OriginText OriginOf(const Parameter& parameter) {
  OriginText text;
  const Origin origin = parameter.origin;
  if (origin.source == Origin::kCommandLine) {
    FormatText(text, "command line");
  } else {
    FormatText(text, "%s line %u", SourceName(state->command_line, origin.source), origin.line);
  }
  return text;
}

void ShowError(const char16_t* label, const char16_t* message) {
  while (*message == u'\n' || *message == u'\r') ++message;
  std::array<char16_t, 4096> text;
  std::size_t length = 0;
  std::size_t line_ends = 0;
  const auto put = [&](char16_t c) {
    if (length + 1 < text.size()) text[length++] = c;
  };
  for (; *message != 0; ++message) {
    if (*message == u'\n') ++line_ends;
    if (*message == u'\n' || *message == u'\r') continue;
    for (; line_ends > 0; --line_ends) {
      put(u'\n');
      put(u' ');
      put(u' ');
    }
    put(*message);
  }
  text[length] = 0;
  platform::StartLine();
  platform::Write(label, Colour::kBad);
  platform::Write(text.data(), Colour::kBad);
  platform::Write(u"\n");
}

void ShowTests() {
  platform::StartLine();
  for (const TestRow& test : Tests()) {
    const RemovedTests::Removal* const removal = FindRemoval(state->removed, test.number);
    Say(Colour::kNormal, "%4u  %s", test.number, test.title);
    if (removal != nullptr) Say(Colour::kNotice, "  (does not apply: removed by test %u)", removal->by);
    platform::Write(u"\n");
    SayNames([&](const ParameterRow& row) { return row.tests.Has(test.number); });
  }
  platform::Write(u"      The library itself:\n");
  SayNames([](const ParameterRow& row) { return row.IsLibrarys(); });
  platform::Write(u"# stands for a number. TEST --show tells what a test reads, and the limits.\n");
}

void ShowParameters() {
  platform::StartLine();
  if (state->parameters.count == 0) platform::Write(u"No parameters are given.\n");
  for (const Parameter& parameter : state->parameters.All()) SayParameter(u"", parameter);
}

void ShowParametersOf(std::uint32_t test) {
  platform::StartLine();
  Say(Colour::kNormal, "Test %u \"%s\" reads:\n", test, TitleOf(test));
  for (const ParameterRow& row : ParameterTable()) {
    if (row.tests.Has(test)) SayParameterRow(row, row.required.Has(test));
  }
}

void ShowRuns() {
  platform::StartLine();
  const auto key = [](const Result& result) { return result.key.data(); };
  if (std::ranges::any_of(state->results.All(), &Result::is_published)) platform::Write(u"Results:\n");
  SayResults(key);
  SayRemovedTests();
  platform::TellBridges(SayBridge);
  Say(Colour::kNormal, "Runs since the library was loaded: %u\n", state->history.count);
  Say(Colour::kNormal, "  Test  Title                          Verdict  Errors  Seconds\n");
  std::uint32_t index = 0;
  for (const Run& run : state->history.Kept()) SayRow(run, index++ < state->history.line_start);
  if (state->history.count > RunHistory::kRuns) platform::Write(u"  (later runs are counted, not listed)\n");
}

void ShowSummary() {
  ShowRuns();
  SayFailures();
  const Tally& tally = state->history.line;
  Say(Colour::kNormal, "SUMMARY %u passed, %u failed, %u errors, %u skipped: %s\n", tally.Of(Verdict::kPass),
      tally.Of(Verdict::kFail), tally.Of(Verdict::kError), tally.Of(Verdict::kSkip),
      VerdictText(JudgeLine(tally, state->results)));
}

void ShowRunResults() {
  const auto label = [](const Result& result) {
    return result.run == state->history.count ? DisplayLabel(result) : nullptr;
  };
  if (std::ranges::none_of(state->results.All(), [&](const Result& r) { return label(r) != nullptr; })) return;
  platform::StartLine();
  platform::Write(u"Results:\n");
  SayResults(label);
}

// For rigs too, so it has no colours: on a serial port they would stand before
// the first word, or within the line.
void ShowVerdict() {
  const Run& run = state->run;
  const std::uint64_t seconds = run.hundredths / 100;
  const auto fraction = static_cast<std::uint32_t>(run.hundredths % 100);
  platform::StartLine();
  Say(Colour::kNormal, "RESULT test %s \"%s\": %s, %u %s, %lu.%02u s%s\n", TestNumberText(run).data(),
      run.has_test ? TitleOf(run.test) : u"-", VerdictText(run.verdict), run.errors, ErrorWord(run.errors), seconds,
      fraction, ExtrasText(run).data());
}

}  // namespace testlib
