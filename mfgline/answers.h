// SPDX-License-Identifier: BSD-2-Clause-Patent
// What the records say about units, tests, stations and orders.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "mfgline/database.h"
#include "mfgline/record.h"
#include "mfgline/store.h"

namespace mfgline {

// The records that are asked about, by the time of their start; an empty name asks for all.
struct Selection {
  std::string since;
  std::string until = "9999-12-31T23:59:59Z";
  std::string product;
  std::string station;
  std::string order;
};

struct Failure {
  std::string test;
  std::string title;
  Finding finding;
  bool waived = false;
  // Who waived it, and why.
  std::string waiver;
};

struct Attempt {
  long id = 0;
  Record record;  // without its steps and settings
  long seconds = 0;
  std::vector<Failure> failures;

  // That of the record, or WAIVED where every failure of a whole record is waived.
  std::string Verdict() const;
  // A single test that passed, or was skipped, decides nothing about the unit.
  bool Decides() const { return record.verdict != "PARTIAL" && record.verdict != "SKIP"; }
  bool IsJudged() const { return record.verdict == "PASS" || record.verdict == "FAIL"; }
  // The first failure that nobody waived.
  const Failure* First() const;
  // Who waived a finding of a step, and why; empty where nobody did.
  std::string WaiverOf(const Step& step, const Finding& finding) const;
};

struct Unit {
  std::string name;
  // The last one gives the unit's verdict: those that decide stand behind the others.
  std::vector<Attempt> attempts;

  const Attempt& Last() const { return attempts.back(); }
};

// The attempts as they followed each other.
std::vector<const Attempt*> InTime(const Unit& unit);

// All units, or one, in the order of their names.
std::vector<Unit> Units(Database& database, const Selection& selection, const std::string& unit = "");

// The steps of the attempts of all units from one to another.
using Details = std::map<long, std::vector<Step>>;
Details DetailsOf(Database& database, const Selection& selection, const std::string& first, const std::string& last);

// Hands all units over with their details, a part of them at a time.
using OnUnit = std::function<void(const Unit& unit, const Details& details)>;
void ForEachUnit(Database& database, const Selection& selection, const std::vector<Unit>& units, const OnUnit& on_unit);

// One way to fail.
struct Cause {
  std::string test;
  std::string title;
  std::string code;
  long units = 0;
  long records = 0;
  long waived = 0;
};

struct Pace {
  std::string test;
  std::string title;
  long runs = 0;
  double mean = 0;
  // Of the newest tenth of the records.
  double newest = 0;
  long longest = 0;
  double waits = 0;
  long repeats = 0;
};

// A value with a tolerance whose mean has moved by more than chance allows.
struct Drift {
  std::string test;
  std::string name;
  double before = 0;
  double newest = 0;
  long count = 0;
};

// The same check failed with the same expected value on units running.
struct Suspicion {
  Failure failure;
  std::string product;
  std::string order;
  std::string first;
  std::string last;
  long units = 0;
};

struct Day {
  std::string day;
  long units = 0;
  long passed = 0;
};

struct Summary {
  std::string first;
  std::string last;
  long records = 0;
  long units = 0;
  // Units with a PASS or FAIL, and what became of them.
  long judged = 0;
  long first_passed = 0;
  long passed = 0;
  long waived = 0;
  // Units by the verdict of their last attempt.
  std::map<std::string, long> verdicts;
  long retried = 0;
  long retried_passed = 0;
  std::vector<Cause> failures;
  std::vector<Cause> station_errors;
  // The slowest first.
  std::vector<Pace> tests;
  std::vector<Drift> drifts;
  std::vector<Suspicion> suspicions;
  // First attempts.
  std::vector<Day> days;
};

// An order comes under suspicion when so many units running fail the same way.
Summary Summarise(Database& database, const Selection& selection, const std::vector<Unit>& units, long running);

}  // namespace mfgline
