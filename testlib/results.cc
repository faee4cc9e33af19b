// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/results.h"

#include <algorithm>

#include "testlib/text_part.h"

namespace testlib {
namespace {

constexpr std::u16string_view kDisplayPrefix = u"display.cfg:";

template <std::size_t kSize>
std::u16string_view Fitting(const std::array<char16_t, kSize>&, std::u16string_view text) {
  return PartBefore(text, kSize - 1);
}

// Line ends and other white space come down to single blanks; what does not fit
// is left out.
void CopyOnOneLine(std::span<char16_t> to, std::u16string_view message) {
  std::size_t length = 0;
  bool is_apart = false;
  for (const char16_t c : message) {
    const bool is_space = c <= u' ';
    if (is_space) is_apart = length > 0;
    if (is_space || length + 2 >= to.size()) continue;
    if (is_apart) to[length++] = u' ';
    to[length++] = c;
    is_apart = false;
  }
  to[length] = 0;
}

// Null when there is no room for another one.
Result* FindOrAdd(ResultStore& store, std::u16string_view key) {
  const auto known = std::span(store.results).first(store.count);
  const auto found =
      std::ranges::find_if(known, [&](const Result& result) { return Holds(result.key, Fitting(result.key, key)); });
  if (found != known.end()) return &*found;
  if (store.count == ResultStore::kResults) return nullptr;
  Result& result = store.results[store.count++];
  result = {};
  Assign(result.key, key);
  return &result;
}

}  // namespace

const char16_t* VerdictText(Verdict verdict) {
  constexpr const char16_t* kTexts[] = {u"", u"PASS", u"FAIL", u"ERROR", u"SKIP"};
  return kTexts[static_cast<std::size_t>(verdict)];
}

Verdict Judge(const Run& run) {
  switch (run.stage) {
    case Stage::kRunning:
      if (run.errors == 0) return Verdict::kPass;
      return run.errors == run.station_errors ? Verdict::kError : Verdict::kFail;
    case Stage::kDoesNotApply:
      return Verdict::kSkip;
    case Stage::kMustApply:
      return Verdict::kFail;
    case Stage::kRefused:
      return Verdict::kError;
    default:
      return Verdict::kNone;
  }
}

void KeepReason(Run& run, std::u16string_view message, const char16_t* advice) {
  if (run.reason[0] != 0) return;
  CopyOnOneLine(run.reason, message);
  run.advice = advice;
}

Verdict Judge(const Tally& tally) {
  if (tally.Of(Verdict::kFail) != 0) return Verdict::kFail;
  if (tally.Of(Verdict::kError) != 0 || tally.Of(Verdict::kPass) == 0) return Verdict::kError;
  return Verdict::kPass;
}

void StartLine(RunHistory& history) {
  history.line_start = history.count;
  history.line = {};
}

void Remember(RunHistory& history, const Run& run) {
  if (run.has_test && run.test == kAutosense) StartLine(history);
  ++history.line.runs[static_cast<std::size_t>(run.verdict)];
  if (history.count < RunHistory::kRuns) history.runs[history.count] = run;
  ++history.count;
}

bool Publish(ResultStore& store, std::u16string_view key, std::u16string_view value, std::uint32_t run) {
  Result* const result = FindOrAdd(store, key);
  if (result == nullptr) return false;
  Assign(result->value, value);
  result->run = run;
  result->is_published = true;
  return true;
}

bool Require(ResultStore& store, std::u16string_view key) {
  Result* const result = FindOrAdd(store, key);
  if (result == nullptr) return false;
  result->is_required = true;
  return true;
}

bool IsMissing(const Result& result) { return result.is_required && result.value[0] == 0; }

const char16_t* DisplayLabel(const Result& result) {
  const std::u16string_view key = result.key.data();
  return key.starts_with(kDisplayPrefix) ? result.key.data() + kDisplayPrefix.size() : nullptr;
}

bool RemoveTest(RemovedTests& removed, std::uint64_t test, std::uint32_t by, std::u16string_view message) {
  if (test >= RemovedTests::kTests) return false;
  RemovedTests::Removal& removal = removed.tests[test];
  removal = {.removed = true, .by = by, .reason = {}};
  CopyOnOneLine(removal.reason, message);
  return true;
}

const RemovedTests::Removal* FindRemoval(const RemovedTests& removed, std::uint32_t test) {
  if (test >= RemovedTests::kTests || !removed.tests[test].removed) return nullptr;
  return &removed.tests[test];
}

}  // namespace testlib
