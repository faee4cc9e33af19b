// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "mfgline/show.h"

#include <algorithm>
#include <cstdio>
#include <iostream>

#include "mfgline/text.h"

namespace mfgline {
namespace {

constexpr std::size_t kMostRows = 15;

std::string OrNone(const std::string& text) { return text.empty() ? "-" : text; }

void ShowCauses(const std::string& title, const std::vector<Cause>& causes) {
  if (causes.empty()) return;
  Table table({"test", "code", ">units", ">records", ">waived"});
  for (std::size_t i = 0; i < std::min(kMostRows, causes.size()); ++i) {
    const Cause& cause = causes[i];
    table.Add({TestName(cause.test, cause.title), cause.code, Grouped(cause.units), Grouped(cause.records),
               cause.waived == 0 ? "" : Grouped(cause.waived)});
  }
  std::cout << '\n' << title << '\n';
  table.Print("  ");
  if (causes.size() > kMostRows) std::cout << "  and " << causes.size() - kMostRows << " more\n";
}

void ShowTests(const std::vector<Pace>& tests) {
  if (tests.empty()) return;
  Table table({"test", ">runs", ">mean s", ">newest tenth s", ">longest s", ">waits asked s", ">repeats"});
  for (std::size_t i = 0; i < std::min<std::size_t>(8, tests.size()); ++i) {
    const Pace& test = tests[i];
    table.Add({TestName(test.test, test.title), Grouped(test.runs), Fixed(test.mean), Fixed(test.newest),
               Grouped(test.longest), Fixed(test.waits), Grouped(test.repeats)});
  }
  std::cout << "\nSlowest tests\n";
  table.Print("  ");
}

void ShowYields(const Summary& summary) {
  Table table({"", ">", "", ""});
  const auto row = [&](const char* name, long part, const std::string& more) {
    table.Add({name, Percent(part, summary.judged), Grouped(part) + " of " + Grouped(summary.judged) + " units", more});
  };
  row("First-pass yield", summary.first_passed, "passed at the first attempt");
  row("Final yield", summary.passed, "passed at the last attempt");
  if (summary.waived != 0) row("Waived", summary.waived, "failed, and every failure is waived");
  table.Print();
}

void ShowSuspicions(const std::vector<Suspicion>& suspicions, long running) {
  if (suspicions.empty()) return;
  std::cout << "\nSuspect the order, not the units: the same check failed with the same expected value on " << running
            << " units running or more\n";
  Table table({">units", "test", "value", "expected", "last found", "product", "order", "from", "to"});
  for (const Suspicion& suspicion : suspicions) {
    const Finding& finding = suspicion.failure.finding;
    table.Add({Grouped(suspicion.units), TestName(suspicion.failure.test, suspicion.failure.title), finding.name,
               finding.limit, finding.measured, OrNone(suspicion.product), OrNone(suspicion.order), suspicion.first,
               suspicion.last});
  }
  table.Print("  ");
}

void ShowDrifts(const std::vector<Drift>& drifts) {
  if (drifts.empty()) return;
  std::cout << "\nDrift: the newest tenth differs from the rest by more than chance\n";
  Table table({"test", "value", ">measured", ">mean before", ">newest tenth"});
  for (const Drift& drift : drifts) {
    table.Add({drift.test, drift.name, Grouped(drift.count), Fixed(drift.before), Fixed(drift.newest)});
  }
  table.Print("  ");
}

void ShowFacts(const Attempt& attempt) {
  const Record& record = attempt.record;
  std::cout << "  station " << OrNone(record.station) << ", order " << OrNone(record.order) << ", operator "
            << OrNone(record.person) << ", mfgtest " << OrNone(record.version) << ", command " << OrNone(record.command)
            << "\n  from " << record.source << ", " << record.lines << " lines";
  if (record.missing != 0) std::cout << ", " << record.missing << " more ARE LOST";
  std::cout << '\n';
}

std::string Waits(const Step& step) {
  std::string text = std::to_string(step.seconds) + " s";
  if (step.waits != 0) text += ", waits asked: " + Fixed(static_cast<double>(step.waits) / 1000) + " s";
  if (step.repeats != 0) text += ", " + std::to_string(step.repeats) + " repeats";
  return text;
}

void ShowFinding(const Attempt& attempt, const Step& step, const Finding& finding) {
  const std::string waiver = attempt.WaiverOf(step, finding);
  std::cout << "          " << finding.code << ": " << finding.message;
  if (!waiver.empty()) std::cout << " (" << waiver << ')';
  std::cout << '\n';
}

void ShowStep(const Attempt& attempt, const Step& step) {
  Table head({"", "", ""});
  head.Add({step.verdict.empty() ? "-" : step.verdict, TestName(step.id, step.title), Waits(step)});
  head.Print("  ");
  Table values({"", "", "", ""});
  for (const Value& value : step.values) {
    values.Add({value.name, value.value + (value.unit.empty() ? "" : " " + value.unit), value.limit,
                value.outside ? "FAIL" : ""});
  }
  values.Print("          ");
  for (const Finding& finding : step.findings) ShowFinding(attempt, step, finding);
  if (!step.note.empty()) std::cout << "          " << step.note << '\n';
}

// What a record says, by name; what differs between any two runs is left out.
std::map<std::string, std::string> Facts(const Side& side) {
  std::map<std::string, std::string> facts;
  for (const auto& [name, value] : side.settings) facts["start " + name] = value;
  facts["verdict"] = side.attempt.Verdict();
  for (const Step& step : side.steps) {
    const std::string test = "test " + step.id + " ";
    facts[test + "verdict"] = step.verdict;
    for (const Value& value : step.values) {
      facts[test + value.name] += value.value + (value.unit.empty() ? "" : " " + value.unit) + "; ";
      if (!value.limit.empty()) facts[test + value.name + " limit"] += value.limit + "; ";
    }
    for (const Finding& finding : step.findings) facts[test + finding.code] += finding.message + "; ";
  }
  for (auto& [name, value] : facts) {
    if (value.ends_with("; ")) value.resize(value.size() - 2);
  }
  return facts;
}

}  // namespace

std::string TestName(const std::string& test, const std::string& title) {
  return title.empty() ? test : test + " " + title;
}

std::string FirstFailure(const Attempt& attempt) {
  const Failure* const first = attempt.First();
  if (first == nullptr) return "";
  return TestName(first->test, first->title) + ": " + first->finding.code + ": " + first->finding.message;
}

void ShowTable(const std::vector<Unit>& units) {
  Table table({"unit", "verdict", "time", ">s", ">attempts", "product", "station", "order", "first failure"});
  for (const Unit& unit : units) {
    const Attempt& last = unit.Last();
    table.Add({unit.name, last.Verdict(), last.record.started, std::to_string(last.seconds),
               std::to_string(unit.attempts.size()), last.record.product, last.record.station, last.record.order,
               FirstFailure(last)});
  }
  table.Print();
}

void ShowUnit(const Unit& unit, const Details& details) {
  std::cout << "Unit " << unit.name << ", " << unit.Last().record.product << ": " << unit.Last().Verdict() << '\n';
  for (const Attempt* const attempt_in_time : InTime(unit)) {
    const Attempt& attempt = *attempt_in_time;
    std::cout << '\n' << attempt.record.started << ", " << attempt.seconds << " s: " << attempt.Verdict() << '\n';
    ShowFacts(attempt);
    const auto steps = details.find(attempt.id);
    if (steps == details.end()) continue;
    for (const Step& step : steps->second) ShowStep(attempt, step);
  }
}

bool ShowDifferences(const Side& one, const Side& other) {
  std::map<std::string, std::pair<std::string, std::string>> both;
  for (const auto& [name, value] : Facts(one)) both[name].first = value;
  for (const auto& [name, value] : Facts(other)) both[name].second = value;
  Table table({"", one.attempt.record.unit + " " + one.attempt.record.started,
               other.attempt.record.unit + " " + other.attempt.record.started});
  for (const auto& [name, values] : both) {
    if (values.first != values.second) table.Add({name, OrNone(values.first), OrNone(values.second)});
  }
  if (table.empty()) {
    std::cout << "They agree in all " << both.size() << " values of their last attempts.\n";
    return true;
  }
  table.Print();
  return false;
}

void ShowSummary(const Summary& summary, long running) {
  std::cout << Grouped(summary.units) << " units, " << Grouped(summary.records) << " records from " << summary.first
            << " to " << summary.last << '\n';
  ShowYields(summary);
  std::cout << "Units by their last attempt:";
  for (const auto& [verdict, units] : summary.verdicts) std::cout << "  " << verdict << ' ' << Grouped(units);
  std::cout << '\n';
  if (summary.judged < summary.units) {
    std::cout
        << Grouped(summary.units - summary.judged)
        << " units are in no yield: they had no PASS or FAIL of a line run, only errors of the station or single tests\n";
  }
  std::cout << "Retries: " << Grouped(summary.retried) << " units had more than one attempt, "
            << Grouped(summary.retried_passed) << " of them passed in the end\n";
  ShowSuspicions(summary.suspicions, running);
  ShowCauses("Failures of units, the most frequent first", summary.failures);
  ShowCauses("Errors of the station, not of units", summary.station_errors);
  ShowTests(summary.tests);
  ShowDrifts(summary.drifts);
}

void ShowWaivers(const std::vector<Waiver>& waivers) {
  Table table({"test", "code", "product", "until", "", "by", "since", "reason"});
  for (const Waiver& waiver : waivers) {
    table.Add({waiver.test, waiver.code, waiver.product.empty() ? "all" : waiver.product, OrNone(waiver.until),
               IsExpired(waiver) ? "expired" : "counts", waiver.person, waiver.made, waiver.reason});
  }
  table.Print();
}

}  // namespace mfgline
