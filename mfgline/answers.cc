// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "mfgline/answers.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>
#include <tuple>

#include "mfgline/text.h"

namespace mfgline {
namespace {

constexpr std::size_t kUnitsAtATime = 500;
// A drift is one of so many standard errors.
constexpr double kStandardErrors = 4;

const std::string kSelected =
    " r.started >= $1 and r.started < $2 and ($3 = '' or r.product = $3) and ($4 = '' or r.station = $4)"
    " and ($5 = '' or r.lot = $5) ";
const std::string kOfUnits = "and r.unit >= $6 and r.unit <= $7 ";

Database::Values With(const Selection& selection, const std::vector<std::string>& more = {}) {
  Database::Values values = {selection.since, selection.until, selection.product, selection.station, selection.order};
  values.insert(values.end(), more.begin(), more.end());
  return values;
}

// The condition for one unit, or none for all, with its values.
struct Condition {
  std::string text;
  Database::Values values;
};

Condition ConditionOf(const Selection& selection, const std::string& unit) {
  if (unit.empty()) return {kSelected, With(selection)};
  return {kSelected + kOfUnits, With(selection, {unit, unit})};
}

Attempt ReadAttempt(const Row& row) {
  Attempt attempt;
  attempt.id = row.Number(0);
  std::string* const texts[] = {&attempt.record.unit,    &attempt.record.started, &attempt.record.ended,
                                &attempt.record.verdict, &attempt.record.product, &attempt.record.station,
                                &attempt.record.order,   &attempt.record.person,  &attempt.record.version,
                                &attempt.record.command, &attempt.record.source};
  std::size_t column = 1;
  for (std::string* const text : texts) *text = row.Text(column++);
  attempt.seconds = row.Number(column);
  attempt.record.lines = row.Number(column + 1);
  attempt.record.missing = row.Number(column + 2);
  return attempt;
}

bool Covers(const Waiver& waiver, const Failure& failure, const std::string& product) {
  return !failure.finding.station && waiver.test == failure.test && waiver.code == failure.finding.code &&
         (waiver.product.empty() || waiver.product == product) && !IsExpired(waiver);
}

// Puts the findings of the selected records to their attempts.
void AddFailures(Database& database, const Selection& selection, const std::string& unit, std::vector<Unit>& units) {
  std::map<long, Attempt*> attempts;
  for (Unit& one : units) {
    for (Attempt& attempt : one.attempts) {
      if (attempt.record.verdict != "PASS") attempts[attempt.id] = &attempt;
    }
  }
  const std::vector<Waiver> waivers = Waivers(database);
  const Condition condition = ConditionOf(selection, unit);
  database.Run(
      "select f.record, f.test, f.title, f.station, f.code, f.message, f.name, f.value, f.expected from finding f "
      "join record r on r.id = f.record where" +
          condition.text + "order by f.record, f.line",
      condition.values, [&](const Row& row) {
        const auto attempt = attempts.find(row.Number(0));
        if (attempt == attempts.end()) return;
        Failure failure{row.Text(1),
                        row.Text(2),
                        {row.Number(3) != 0, row.Text(4), row.Text(5), row.Text(6), row.Text(7), row.Text(8)},
                        false,
                        ""};
        const auto waiver = std::ranges::find_if(
            waivers, [&](const Waiver& one) { return Covers(one, failure, attempt->second->record.product); });
        failure.waived = waiver != waivers.end();
        if (failure.waived) failure.waiver = "waived by " + waiver->person + ": " + waiver->reason;
        attempt->second->failures.push_back(std::move(failure));
      });
}

// Counts failures of a kind by test and code, the most frequent first.
std::vector<Cause> Causes(const std::vector<Unit>& units, bool station) {
  std::map<std::tuple<long, std::string, std::string>, Cause> causes;
  for (const Unit& unit : units) {
    std::set<Cause*> of_unit;
    for (const Attempt& attempt : unit.attempts) {
      std::set<Cause*> of_record;
      for (const Failure& failure : attempt.failures) {
        if (failure.finding.station != station) continue;
        Cause& cause = causes[{std::atol(failure.test.c_str()), failure.test, failure.finding.code}];
        cause.test = failure.test;
        cause.title = failure.title;
        cause.code = failure.finding.code;
        if (of_record.insert(&cause).second) ++cause.records;
        if (!of_unit.insert(&cause).second) continue;
        ++cause.units;
        if (failure.waived) ++cause.waived;
      }
    }
  }
  std::vector<Cause> sorted;
  sorted.reserve(causes.size());
  for (auto& [key, cause] : causes) sorted.push_back(std::move(cause));
  std::ranges::stable_sort(sorted, std::ranges::greater(),
                           [](const Cause& cause) { return std::pair(cause.units, cause.records); });
  return sorted;
}

// Counts one unit.
void Count(Summary& summary, const Unit& unit, std::map<std::string, Day>& days) {
  const auto first = std::ranges::find_if(unit.attempts, &Attempt::IsJudged);
  const std::string verdict = unit.Last().Verdict();
  ++summary.units;
  ++summary.verdicts[verdict];
  summary.records += static_cast<long>(unit.attempts.size());
  for (const Attempt& attempt : unit.attempts) {
    if (summary.first.empty() || attempt.record.started < summary.first) summary.first = attempt.record.started;
    summary.last = std::max(summary.last, attempt.record.started);
  }
  if (std::ranges::count_if(unit.attempts, &Attempt::Decides) > 1) {
    ++summary.retried;
    if (verdict == "PASS") ++summary.retried_passed;
  }
  if (first == unit.attempts.end()) return;
  const bool passed = first->record.verdict == "PASS";
  Day& day = days[first->record.started.substr(0, 10)];
  ++day.units;
  day.passed += passed ? 1 : 0;
  ++summary.judged;
  summary.first_passed += passed ? 1 : 0;
  summary.passed += verdict == "PASS" ? 1 : 0;
  summary.waived += verdict == "WAIVED" ? 1 : 0;
}

// Where the newest tenth of the records begins.
std::string NewestTenth(const std::vector<Unit>& units) {
  std::vector<std::string> times;
  for (const Unit& unit : units) {
    for (const Attempt& attempt : unit.attempts) times.push_back(attempt.record.started);
  }
  if (times.empty()) return "";
  const auto place = times.begin() + static_cast<std::ptrdiff_t>(times.size() * 9 / 10);
  std::ranges::nth_element(times, place);
  return *place;
}

std::vector<Pace> Paces(Database& database, const Selection& selection, const std::string& newest) {
  std::vector<Pace> paces;
  database.Run(
      "select s.test, max(s.title), count(*), avg(s.seconds), avg(case when r.started >= $6 then s.seconds end), "
      "max(s.seconds), avg(s.waits), sum(s.repeats) from step s join record r on r.id = s.record where" +
          kSelected +
          "and s.test <> 'run' and s.verdict <> 'SKIP' group by s.test order by avg(s.seconds) desc, s.test",
      With(selection, {newest}), [&](const Row& row) {
        paces.push_back({row.Text(0), row.Text(1), row.Number(2), row.Real(3), row.Real(4), row.Number(5),
                         row.Real(6) / 1000, row.Number(7)});
      });
  return paces;
}

std::vector<Drift> Drifts(Database& database, const Selection& selection, const std::string& newest) {
  std::vector<Drift> drifts;
  database.Run(
      "select m.test, m.name, count(*), avg(m.number), avg(m.number * m.number), "
      "count(case when r.started >= $6 then 1 end), avg(case when r.started >= $6 then m.number end), "
      "avg(case when r.started < $6 then m.number end) "
      "from number m join record r on r.id = m.record where" +
          kSelected + "group by m.test, m.name order by m.test, m.name",
      With(selection, {newest}), [&](const Row& row) {
        const Drift drift{row.Text(0), row.Text(1), row.Real(7), row.Real(6), row.Number(2)};
        const auto count = static_cast<double>(row.Number(5));
        const double variance = std::max(0.0, row.Real(4) - row.Real(3) * row.Real(3));
        const bool both = row.Number(5) > 0 && row.Number(5) < row.Number(2);
        if (both && std::abs(drift.newest - drift.before) > kStandardErrors * std::sqrt(variance / count) + 1e-6) {
          drifts.push_back(drift);
        }
      });
  return drifts;
}

// The failures with an expected value of one attempt, each once.
using Key = std::tuple<std::string, std::string, std::string>;

std::map<Key, const Failure*> Expectations(const Attempt& attempt) {
  std::map<Key, const Failure*> found;
  for (const Failure& failure : attempt.failures) {
    if (!failure.finding.limit.empty()) found[{failure.test, failure.finding.code, failure.finding.limit}] = &failure;
  }
  return found;
}

// Goes through the attempts of one order in the order of time.
void Suspect(const std::vector<const Attempt*>& attempts, long running, std::vector<Suspicion>& suspicions) {
  std::map<Key, Suspicion> runs;
  const auto end_run = [&](const Suspicion& run) {
    if (run.units >= running) suspicions.push_back(run);
  };
  for (const Attempt* const attempt : attempts) {
    const auto failures = Expectations(*attempt);
    std::erase_if(runs, [&](const auto& run) {
      const bool ends = attempt->IsJudged() && !failures.contains(run.first);
      if (ends) end_run(run.second);
      return ends;
    });
    for (const auto& [key, failure] : failures) {
      const Record& record = attempt->record;
      Suspicion& run =
          runs.try_emplace(key, Suspicion{*failure, record.product, record.order, record.unit, "", 0}).first->second;
      if (run.last != record.unit) ++run.units;
      run.last = record.unit;
    }
  }
  for (const auto& [key, run] : runs) end_run(run);
}

std::vector<Suspicion> Suspicions(const std::vector<Unit>& units, long running) {
  std::map<std::pair<std::string, std::string>, std::vector<const Attempt*>> orders;
  for (const Unit& unit : units) {
    for (const Attempt& attempt : unit.attempts) {
      if (attempt.Decides()) orders[{attempt.record.product, attempt.record.order}].push_back(&attempt);
    }
  }
  std::vector<Suspicion> suspicions;
  for (auto& [order, attempts] : orders) {
    std::ranges::stable_sort(attempts, {},
                             [](const Attempt* attempt) -> const std::string& { return attempt->record.started; });
    Suspect(attempts, running, suspicions);
  }
  std::ranges::stable_sort(suspicions, std::ranges::greater(), &Suspicion::units);
  return suspicions;
}

// The step of a row that begins with record and place; none where a writer has
// just replaced the record.
Step* StepAt(Details& details, const Row& row) {
  std::vector<Step>& steps = details[row.Number(0)];
  const auto place = static_cast<std::size_t>(row.Number(1));
  return place < steps.size() ? &steps[place] : nullptr;
}

}  // namespace

std::string Attempt::Verdict() const {
  const bool waived = record.verdict == "FAIL" && record.missing == 0 && !failures.empty() &&
                      std::ranges::all_of(failures, &Failure::waived);
  return waived ? "WAIVED" : record.verdict;
}

const Failure* Attempt::First() const {
  if (failures.empty()) return nullptr;
  const auto first = std::ranges::find(failures, false, &Failure::waived);
  return first == failures.end() ? &failures.front() : &*first;
}

std::string Attempt::WaiverOf(const Step& step, const Finding& finding) const {
  const std::string test = TestOf(step.id);
  const auto found = std::ranges::find_if(
      failures, [&](const Failure& one) { return one.waived && one.test == test && one.finding.code == finding.code; });
  return found == failures.end() ? "" : found->waiver;
}

std::vector<const Attempt*> InTime(const Unit& unit) {
  std::vector<const Attempt*> attempts;
  for (const Attempt& attempt : unit.attempts) attempts.push_back(&attempt);
  std::ranges::stable_sort(attempts, {},
                           [](const Attempt* attempt) -> const std::string& { return attempt->record.started; });
  return attempts;
}

std::vector<Unit> Units(Database& database, const Selection& selection, const std::string& unit) {
  std::vector<Unit> units;
  const Condition condition = ConditionOf(selection, unit);
  database.Run(
      "select r.id, r.unit, r.started, r.ended, r.verdict, r.product, r.station, r.lot, r.person, r.version, r.command, "
      "r.source, r.seconds, r.lines, r.missing from record r where" +
          condition.text + "order by r.unit, r.started, r.id",
      condition.values, [&](const Row& row) {
        Attempt attempt = ReadAttempt(row);
        if (units.empty() || units.back().name != attempt.record.unit) units.push_back({attempt.record.unit, {}});
        units.back().attempts.push_back(std::move(attempt));
      });
  for (Unit& one : units)
    std::stable_partition(one.attempts.begin(), one.attempts.end(), [](const Attempt& a) { return !a.Decides(); });
  AddFailures(database, selection, unit, units);
  return units;
}

Details DetailsOf(Database& database, const Selection& selection, const std::string& first, const std::string& last) {
  Details details;
  const auto values = With(selection, {first, last});
  // A cross join keeps SQLite from going through the table of all steps.
  const auto of = [](const std::string& table, const std::string& order) {
    return " from record r cross join " + table + " t where t.record = r.id and" + kSelected + kOfUnits +
           "order by t.record, t." + order;
  };
  database.Run(
      "select t.record, t.step, t.title, t.verdict, t.note, t.seconds, t.waits, t.repeats" + of("step", "place"),
      values, [&](const Row& row) {
        details[row.Number(0)].push_back({.id = row.Text(1),
                                          .title = row.Text(2),
                                          .verdict = row.Text(3),
                                          .note = row.Text(4),
                                          .seconds = row.Number(5),
                                          .waits = row.Number(6),
                                          .repeats = row.Number(7)});
      });
  database.Run("select t.record, t.place, t.name, t.value, t.unit, t.expected, t.outside" + of("measured", "line"),
               values, [&](const Row& row) {
                 if (Step* const step = StepAt(details, row)) {
                   step->values.push_back({row.Text(2), row.Text(3), row.Text(4), row.Text(5), row.Number(6) != 0, {}});
                 }
               });
  database.Run(
      "select t.record, t.place, t.station, t.code, t.message, t.name, t.value, t.expected" + of("finding", "line"),
      values, [&](const Row& row) {
        if (Step* const step = StepAt(details, row)) {
          step->findings.push_back(
              {row.Number(2) != 0, row.Text(3), row.Text(4), row.Text(5), row.Text(6), row.Text(7)});
        }
      });
  return details;
}

void ForEachUnit(Database& database, const Selection& selection, const std::vector<Unit>& units,
                 const OnUnit& on_unit) {
  for (std::size_t begin = 0; begin < units.size(); begin += kUnitsAtATime) {
    const std::size_t end = std::min(units.size(), begin + kUnitsAtATime);
    const Details details = DetailsOf(database, selection, units[begin].name, units[end - 1].name);
    for (std::size_t i = begin; i < end; ++i) on_unit(units[i], details);
  }
}

Summary Summarise(Database& database, const Selection& selection, const std::vector<Unit>& units, long running) {
  Summary summary;
  std::map<std::string, Day> days;
  for (const Unit& unit : units) Count(summary, unit, days);
  for (auto& [name, day] : days) summary.days.push_back({name, day.units, day.passed});
  const std::string newest = NewestTenth(units);
  summary.failures = Causes(units, false);
  summary.station_errors = Causes(units, true);
  summary.tests = Paces(database, selection, newest);
  summary.drifts = Drifts(database, selection, newest);
  summary.suspicions = Suspicions(units, running);
  return summary;
}

}  // namespace mfgline
