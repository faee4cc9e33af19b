// SPDX-License-Identifier: BSD-2-Clause-Patent
// What a station collects: records and serial logs, written by a machine that
// may be broken, hostile or cut off.
#include <algorithm>
#include <iostream>
#include <sstream>

#include "fuzz/targets.h"
#include "mfgline/publish.h"
#include "mfgline/record.h"
#include "mfgline/show.h"
#include "mfgline/store.h"
#include "mfgline/text.h"
#include "simulation/fault.h"

namespace fuzz {
namespace {

using mfgline::Record;
using mfgline::Step;
using simulation::Fault;

void CheckText(const std::string& text) {
  const auto steers = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
  if (std::ranges::any_of(text, steers) || mfgline::Clean(text) != text) Fault("text that is not clean");
  if (mfgline::Width(text) > text.size()) Fault("text that is wider than long");
  const std::string row = mfgline::CsvRow({text, text});
  if (std::ranges::count(row, '"') % 2 != 0) Fault("a row with an open quotation");
}

void CheckStep(const Step& step) {
  for (const std::string& text : {step.id, step.title, step.verdict, step.note}) CheckText(text);
  for (const mfgline::Value& value : step.values) {
    for (const std::string& text : {value.name, value.value, value.unit, value.limit}) CheckText(text);
  }
  for (const mfgline::Finding& finding : step.findings) {
    for (const std::string& text : {finding.code, finding.message, finding.measured}) CheckText(text);
  }
}

void ExpectSound(const Record& record) {
  for (const std::string& text : {record.unit, record.product, record.station, record.order}) CheckText(text);
  for (const auto& [name, value] : mfgline::SettingsOf(record.start)) {
    CheckText(name);
    CheckText(value);
  }
  std::ranges::for_each(record.steps, CheckStep);
  if (record.unit.empty() || !mfgline::ParseTime(record.started)) Fault("a record without unit or time");
  const auto is_bad = [](const Step& step) { return step.verdict == "FAIL" || step.verdict == "ERROR"; };
  if (record.verdict == "PASS" && std::ranges::any_of(record.steps, is_bad)) Fault("a wrong PASS");
}

// What steers a terminal or a page may be in no answer.
void CheckShown(const std::string& text, bool may_have_tags) {
  const auto steers = [](char c) {
    return (static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\r') || c == 0x7F;
  };
  if (std::ranges::any_of(text, steers)) Fault("an answer that steers");
  if (!may_have_tags) return;
  const auto count = [&](std::string_view part) {
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++found;
    return found;
  };
  if (count("<testsuite ") != count("</testsuite>")) Fault("an open element");
}

// Everything that the program says, into a text.
std::string Shown(mfgline::Database& database, const std::vector<mfgline::Unit>& units,
                  const mfgline::Summary& summary) {
  std::ostringstream text;
  std::streambuf* const console = std::cout.rdbuf(text.rdbuf());
  mfgline::ShowTable(units);
  mfgline::ShowSummary(summary, 5);
  mfgline::WriteCsv(text, units);
  mfgline::ForEachUnit(database, {}, units, [&](const mfgline::Unit& unit, const mfgline::Details& details) {
    mfgline::ShowUnit(unit, details);
    mfgline::WriteCsvValues(text, unit, details);
  });
  std::cout.rdbuf(console);
  return text.str();
}

// Records in a database, and what it answers.
void CheckAnswers(const std::vector<Record>& records) {
  const auto database = mfgline::OpenDatabase(":memory:", true);
  mfgline::PrepareTables(*database, true);
  mfgline::Stored first;
  mfgline::Stored again;
  mfgline::Store(*database, records, first);
  mfgline::Store(*database, records, again);
  if (again.added != 0 || again.longer != 0) Fault("a record that is new twice");
  const std::vector<mfgline::Unit> units = mfgline::Units(*database, {});
  const mfgline::Summary summary = mfgline::Summarise(*database, {}, units, 5);
  if (summary.records != first.added || summary.units != static_cast<long>(units.size())) Fault("a lost record");
  for (const mfgline::Unit& unit : units) {
    const auto is_source = [&](const Record& record) {
      return record.unit == unit.name && record.verdict == unit.Last().record.verdict;
    };
    if (std::ranges::none_of(records, is_source)) Fault("a verdict that no record has");
  }
  CheckShown(Shown(*database, units, summary), false);
  std::ostringstream suites;
  mfgline::ForEachUnit(*database, {}, units, [&](const mfgline::Unit& unit, const mfgline::Details& details) {
    mfgline::WriteJunitSuite(suites, unit, details);
  });
  CheckShown(suites.str(), true);
}

}  // namespace

void FuzzMfgline(Input input) {
  const std::uint8_t way = input.Byte();
  const bool pure = way % 2 != 0;
  const Bytes bytes = input.Rest();
  std::istringstream lines(std::string(bytes.begin(), bytes.end()));
  std::size_t complaints = 0;
  std::vector<Record> records;
  const auto take = [&](const Record& record) {
    ExpectSound(record);
    records.push_back(record);
  };
  mfgline::Reader reader(pure, take, [&](std::size_t, const std::string&) { ++complaints; });
  reader.Read(lines);
  const auto lines_read = static_cast<std::size_t>(std::ranges::count(bytes, '\n')) + 1;
  if (complaints > 3 * lines_read) Fault("more complaints than lines");
  if ((way & 2) != 0 && !records.empty()) CheckAnswers(records);
}

}  // namespace fuzz
