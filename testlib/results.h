// What the library knows about this boot: the runs and their verdicts, the
// results that tests published, the tests that do not apply to this machine.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace testlib {

enum class Verdict : std::uint8_t { kNone, kPass, kFail, kError, kSkip };

// PASS, FAIL, ERROR or SKIP; empty for kNone.
const char16_t* VerdictText(Verdict verdict);

// How far a run came.
enum class Stage : std::uint8_t {
  kIdle,          // no run is open
  kNothingToRun,  // help and lists
  kRefused,       // the command line could not be taken
  kDoesNotApply,  // an earlier test removed the selected one
  kMustApply,     // the same, but the order requires it
  kRunning,
};

struct Run {
  Stage stage;
  bool has_test;
  Verdict verdict;
  std::uint32_t test;
  std::uint32_t errors;
  std::uint32_t station_errors;  // those among them that say nothing about the unit
  std::uint64_t hundredths;      // of a second: the start while it runs, then the duration
  std::uint64_t waited;          // milliseconds that the test asked to wait
  // Requests to a management controller, and those that were answered.
  std::uint32_t requests;
  std::uint32_t responses;
  // The first error, on one line, and what to do about it; null when nobody knows.
  std::array<char16_t, 192> reason;
  const char16_t* advice;

  std::uint32_t Repeats() const { return requests > responses ? requests - responses : 0; }
};

// The verdict on a run that came to its regular end. Only a test that ran and
// reported nothing passes; only errors of the unit are the unit's failure.
Verdict Judge(const Run& run);

// Keeps the first reason that a run is given for its verdict.
void KeepReason(Run& run, std::u16string_view message, const char16_t* advice);

// How many runs ended with each verdict.
struct Tally {
  std::array<std::uint32_t, 5> runs;

  std::uint32_t Of(Verdict verdict) const { return runs[static_cast<std::size_t>(verdict)]; }
};

// One verdict for all of them. Nothing that passed is no pass.
Verdict Judge(const Tally& tally);

// Autosense looks at the machine anew: it starts a line run.
inline constexpr std::uint32_t kAutosense = 0;

// The first runs of the boot, and the number of all of them.
struct RunHistory {
  static constexpr std::size_t kRuns = 256;
  std::array<Run, kRuns> runs;
  std::uint32_t count;
  // The line run: the last start of Autosense and what came after it, or all
  // runs as long as there was none.
  std::uint32_t line_start;
  Tally line;

  std::span<const Run> Kept() const { return std::span(runs).first(count < kRuns ? count : kRuns); }
};

void Remember(RunHistory& history, const Run& run);

// A line run begins here.
void StartLine(RunHistory& history);

// A published result: the last value of its key; or one that the order requires
// and no test has published yet, whose value is empty.
struct Result {
  std::array<char16_t, 256> key;
  std::array<char16_t, 256> value;
  std::uint32_t run;  // the run that published it, counted from 0
  bool is_published;
  bool is_required;
};

struct ResultStore {
  static constexpr std::size_t kResults = 512;
  std::array<Result, kResults> results;
  std::size_t count;

  std::span<const Result> All() const { return std::span(results).first(count); }
};

// Keeps the result, cut to what a Result holds. False when the store is full.
bool Publish(ResultStore& store, std::u16string_view key, std::u16string_view value, std::uint32_t run);

// Requires a result of that key. False when the store is full.
bool Require(ResultStore& store, std::u16string_view key);

// Whether a required result was not published, or is empty.
bool IsMissing(const Result& result);

// The label of a result that the operator shall see, or null for another key.
const char16_t* DisplayLabel(const Result& result);

// The tests that do not apply to this machine, each with the one that said so
// and what it last showed before: the reason, on one line.
struct RemovedTests {
  static constexpr std::size_t kTests = 64;
  struct Removal {
    bool removed;
    std::uint32_t by;
    std::array<char16_t, 256> reason;
  };
  std::array<Removal, kTests> tests;
};

// False for a number beyond RemovedTests::kTests. Line ends and other white
// space of the message come down to single blanks.
bool RemoveTest(RemovedTests& removed, std::uint64_t test, std::uint32_t by, std::u16string_view message);

// Who removed the test, or null.
const RemovedTests::Removal* FindRemoval(const RemovedTests& removed, std::uint32_t test);

}  // namespace testlib
