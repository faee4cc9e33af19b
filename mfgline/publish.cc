// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "mfgline/publish.h"

#include <ctemplate/template.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <initializer_list>
#include <stdexcept>

#include "mfgline/show.h"
#include "mfgline/templates.h"
#include "mfgline/text.h"

namespace mfgline {
namespace {

using ctemplate::TemplateDictionary;

constexpr std::size_t kBars = 12;
constexpr std::size_t kShortName = 40;
constexpr std::size_t kLongestFileName = 40;

// Escaping is the templates' own matter: each says what it is for.
void Set(TemplateDictionary& to, std::initializer_list<std::pair<const char*, std::string>> values) {
  for (const auto& [name, value] : values) to.SetValue(name, value);
}

std::string Expand(const char* name, const char* text, const TemplateDictionary& values) {
  static const bool known = [] {
    ctemplate::StringToTemplateCache("index", kIndexPage, ctemplate::DO_NOT_STRIP);
    ctemplate::StringToTemplateCache("unit", kUnitPage, ctemplate::DO_NOT_STRIP);
    return ctemplate::StringToTemplateCache("suite", kSuite, ctemplate::DO_NOT_STRIP);
  }();
  std::string expanded;
  if (!known || !ctemplate::ExpandTemplate(name, ctemplate::DO_NOT_STRIP, &values, &expanded)) {
    throw std::logic_error(std::string("the template does not expand: ") + text);
  }
  return expanded;
}

void WriteFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) throw std::runtime_error(path.string() + " cannot be written");
}

// Serial numbers may hold anything; two of them never share a file.
std::string FileOf(const std::string& unit) {
  std::string name = unit.substr(0, kLongestFileName);
  std::ranges::replace_if(
      name, [](unsigned char c) { return std::isalnum(c) == 0 && c != '-'; }, '_');
  char hash[20];
  std::snprintf(hash, sizeof hash, "-%08x", static_cast<unsigned>(Hash(unit)));
  return "units/" + name + hash + ".html";
}

// Bars of 600 by 150 units, and the share that passed as a line above them.
void AddDays(TemplateDictionary& page, const std::vector<Day>& days) {
  if (days.empty()) return;
  const double width = 600.0 / static_cast<double>(days.size());
  const auto most = static_cast<double>(std::ranges::max(days, {}, &Day::units).units);
  std::string points;
  for (std::size_t i = 0; i < days.size(); ++i) {
    const Day& day = days[i];
    const double pass = 150 * static_cast<double>(day.passed) / most;
    const double fail = 150 * static_cast<double>(day.units - day.passed) / most;
    const double left = width * static_cast<double>(i);
    const double share = static_cast<double>(day.passed) / static_cast<double>(day.units);
    points += Fixed(left + width / 2) + "," + Fixed(160 - 150 * share) + " ";
    Set(*page.AddSectionDictionary("day"), {{"day", day.day},
                                            {"passed", Grouped(day.passed)},
                                            {"count", Grouped(day.units)},
                                            {"yield", Percent(day.passed, day.units)},
                                            {"x", Fixed(left + width * 0.1)},
                                            {"width", Fixed(width * 0.8)},
                                            {"pass_y", Fixed(160 - pass)},
                                            {"pass_height", Fixed(pass)},
                                            {"fail_y", Fixed(160 - pass - fail)},
                                            {"fail_height", Fixed(fail)}});
  }
  Set(page, {{"points", points}, {"first_day", days.front().day}, {"last_day", days.back().day}});
}

void AddPareto(TemplateDictionary& page, const std::vector<Cause>& causes) {
  const std::size_t bars = std::min(kBars, causes.size());
  long all = 0;
  for (const Cause& cause : causes) all += cause.units;
  long running = 0;
  for (std::size_t i = 0; i < bars; ++i) {
    const Cause& cause = causes[i];
    running += cause.units;
    const double width = 200 * static_cast<double>(cause.units) / static_cast<double>(causes.front().units);
    const std::string name = TestName(cause.test, cause.title) + ", " + cause.code;
    const auto top = static_cast<double>(22 * i);
    const std::string short_name = Width(name) > kShortName ? cause.test + " " + cause.code : name;
    Set(*page.AddSectionDictionary("bar"), {{"name", name},
                                            {"short_name", short_name},
                                            {"count", Grouped(cause.units)},
                                            {"share", Percent(running, all)},
                                            {"y", Fixed(top)},
                                            {"text_y", Fixed(top + 13)},
                                            {"width", Fixed(width)},
                                            {"count_x", Fixed(276 + width)}});
  }
  page.SetValue("pareto_height", std::to_string(22 * std::max<std::size_t>(1, bars)));
}

void AddSuspicions(TemplateDictionary& page, const std::vector<Suspicion>& suspicions, long running) {
  if (suspicions.empty()) return;
  TemplateDictionary& section = *page.AddSectionDictionary("suspected");
  section.SetValue("running", std::to_string(running));
  for (const Suspicion& one : suspicions) {
    const Finding& finding = one.failure.finding;
    Set(*section.AddSectionDictionary("suspicion"), {{"count", Grouped(one.units)},
                                                     {"test", TestName(one.failure.test, one.failure.title)},
                                                     {"value", finding.name},
                                                     {"limit", finding.limit},
                                                     {"measured", finding.measured},
                                                     {"product", one.product},
                                                     {"order", one.order},
                                                     {"from", one.first},
                                                     {"to", one.last}});
  }
}

void AddTables(TemplateDictionary& page, const Summary& summary) {
  for (const auto& [verdict, count] : summary.verdicts) {
    Set(*page.AddSectionDictionary("verdict"), {{"name", verdict}, {"count", Grouped(count)}});
  }
  for (const Cause& cause : summary.station_errors) {
    Set(*page.AddSectionDictionary("station_error"), {{"test", TestName(cause.test, cause.title)},
                                                      {"code", cause.code},
                                                      {"count", Grouped(cause.units)},
                                                      {"records", Grouped(cause.records)}});
  }
  for (const Pace& pace : summary.tests) {
    Set(*page.AddSectionDictionary("pace"), {{"test", TestName(pace.test, pace.title)},
                                             {"runs", Grouped(pace.runs)},
                                             {"mean", Fixed(pace.mean)},
                                             {"newest", Fixed(pace.newest)},
                                             {"longest", Grouped(pace.longest)},
                                             {"repeats", Grouped(pace.repeats)}});
  }
}

void AddStep(TemplateDictionary& section, const Attempt& attempt, const Step& step) {
  TemplateDictionary& to = *section.AddSectionDictionary("step");
  Set(to, {{"test", TestName(step.id, step.title)},
           {"step_verdict", step.verdict},
           {"step_seconds", std::to_string(step.seconds)},
           {"note", step.note}});
  for (const Value& value : step.values) {
    Set(*to.AddSectionDictionary("value"),
        {{"name", value.name},
         {"measured", value.unit.empty() ? value.value : value.value + " " + value.unit},
         {"limit", value.limit},
         {"mark", value.outside         ? "FAIL"
                  : value.limit.empty() ? ""
                                        : "PASS"}});
  }
  for (const Finding& finding : step.findings) {
    const std::string waiver = attempt.WaiverOf(step, finding);
    Set(*to.AddSectionDictionary("finding"), {{"code", finding.code},
                                              {"message", finding.message},
                                              {"waiver", waiver},
                                              {"mark", finding.station  ? "ERROR"
                                                       : waiver.empty() ? "FAIL"
                                                                        : "WAIVED"}});
  }
}

const std::vector<Step>& StepsOf(const Details& details, const Attempt& attempt) {
  static const std::vector<Step> kNone;
  const auto found = details.find(attempt.id);
  return found == details.end() ? kNone : found->second;
}

// What a step is to a build server: the first finding nobody waived counts.
struct Outcome {
  const char* section = nullptr;
  std::string code;
  std::string message;
};

Outcome OutcomeOf(const Attempt& attempt, const Step& step) {
  Outcome outcome;
  if (step.verdict == "SKIP") outcome = {"skip", "", step.note};
  if (step.verdict == "ERROR" || step.verdict == "LOST") outcome = {"error", "error", "The step has no end"};
  for (const Finding& finding : step.findings) {
    const std::string waiver = attempt.WaiverOf(step, finding);
    outcome = {finding.station  ? "error"
               : waiver.empty() ? "failure"
                                : "skip",
               finding.code, waiver.empty() ? finding.message : waiver + ": " + finding.code + ": " + finding.message};
    if (waiver.empty()) break;
  }
  return outcome;
}

std::vector<std::string> CsvUnit(const Attempt& attempt) {
  const Record& record = attempt.record;
  return {record.unit,       record.started, std::to_string(attempt.seconds),
          attempt.Verdict(), record.product, record.station,
          record.order,      record.person,  record.version};
}

}  // namespace

void WriteCsv(std::ostream& to, const std::vector<Unit>& units) {
  to << "unit,time,seconds,verdict,product,station,order,operator,mfgtest,attempts,test,code,message\r\n";
  for (const Unit& unit : units) {
    std::vector<std::string> cells = CsvUnit(unit.Last());
    cells.push_back(std::to_string(unit.attempts.size()));
    if (const Failure* const failure = unit.Last().First()) {
      cells.insert(cells.end(), {failure->test, failure->finding.code, failure->finding.message});
    } else {
      cells.insert(cells.end(), 3, "");
    }
    to << CsvRow(cells);
  }
}

void WriteCsvHead(std::ostream& to) {
  to << "unit,time,seconds,verdict,product,station,order,operator,mfgtest,step,title,step_verdict,step_seconds,"
        "name,value,unit_of_value,limit,outside,code,message\r\n";
}

void WriteCsvValues(std::ostream& to, const Unit& unit, const Details& details) {
  for (const Attempt* const attempt : InTime(unit)) {
    for (const Step& step : StepsOf(details, *attempt)) {
      std::vector<std::string> head = CsvUnit(*attempt);
      head.insert(head.end(), {step.id, step.title, step.verdict, std::to_string(step.seconds)});
      const auto row = [&](const std::vector<std::string>& rest) {
        std::vector<std::string> cells = head;
        cells.insert(cells.end(), rest.begin(), rest.end());
        to << CsvRow(cells);
      };
      for (const Value& value : step.values) {
        row({value.name, value.value, value.unit, value.limit, value.outside ? "1" : "0", "", ""});
      }
      for (const Finding& finding : step.findings) row({"", "", "", "", "", finding.code, finding.message});
      if (step.values.empty() && step.findings.empty()) row({"", "", "", "", "", "", step.note});
    }
  }
}

void WriteJunitSuite(std::ostream& to, const Unit& unit, const Details& details) {
  const Attempt& attempt = unit.Last();
  const std::vector<Step>& steps = StepsOf(details, attempt);
  TemplateDictionary suite("suite");
  std::map<std::string, long> counts;
  for (const Step& step : steps) {
    TemplateDictionary& section = *suite.AddSectionDictionary("case");
    Set(section, {{"name", TestName(step.id, step.title)}, {"case_seconds", std::to_string(step.seconds)}});
    const Outcome outcome = OutcomeOf(attempt, step);
    if (outcome.section == nullptr) continue;
    ++counts[outcome.section];
    Set(*section.AddSectionDictionary(outcome.section), {{"code", outcome.code}, {"message", outcome.message}});
  }
  const Record& record = attempt.record;
  Set(suite, {{"unit", unit.name},
              {"time", record.started.substr(0, 19)},
              {"seconds", std::to_string(attempt.seconds)},
              {"tests", std::to_string(steps.size())},
              {"failures", std::to_string(counts["failure"])},
              {"errors", std::to_string(counts["error"])},
              {"skipped", std::to_string(counts["skip"])},
              {"verdict", attempt.Verdict()},
              {"product", record.product},
              {"station", record.station},
              {"order", record.order}});
  to << Expand("suite", kSuite, suite);
}

void WriteIndexPage(const std::filesystem::path& folder, const Summary& summary, const std::vector<Unit>& units,
                    long running) {
  TemplateDictionary page("index");
  Set(page, {{"units", Grouped(summary.units)},
             {"records", Grouped(summary.records)},
             {"first", summary.first},
             {"last", summary.last},
             {"first_yield", Percent(summary.first_passed, summary.judged)},
             {"final_yield", Percent(summary.passed, summary.judged)},
             {"made", FormatTime(Now())}});
  AddDays(page, summary.days);
  AddPareto(page, summary.failures);
  AddSuspicions(page, summary.suspicions, running);
  AddTables(page, summary);
  for (const Unit& unit : units) {
    const Attempt& last = unit.Last();
    Set(*page.AddSectionDictionary("unit"), {{"file", FileOf(unit.name)},
                                             {"name", unit.name},
                                             {"verdict_name", last.Verdict()},
                                             {"time", last.record.started},
                                             {"seconds", std::to_string(last.seconds)},
                                             {"attempts", std::to_string(unit.attempts.size())},
                                             {"product", last.record.product},
                                             {"station", last.record.station},
                                             {"order", last.record.order},
                                             {"failure", FirstFailure(last)}});
  }
  WriteFile(folder / "style.css", kStyle);
  WriteFile(folder / "page.js", kScript);
  WriteFile(folder / "index.html", Expand("index", kIndexPage, page));
}

void WriteUnitPage(const std::filesystem::path& folder, const Unit& unit, const Details& details) {
  TemplateDictionary page("unit");
  Set(page, {{"unit", unit.name}, {"verdict_name", unit.Last().Verdict()}});
  for (const Attempt* const attempt : InTime(unit)) {
    const Record& record = attempt->record;
    TemplateDictionary& section = *page.AddSectionDictionary("attempt");
    Set(section, {{"time", record.started},
                  {"attempt_verdict", attempt->Verdict()},
                  {"product", record.product},
                  {"seconds", std::to_string(attempt->seconds)},
                  {"station", record.station},
                  {"order", record.order},
                  {"operator", record.person},
                  {"version", record.version},
                  {"source", record.source}});
    if (record.missing != 0) Set(*section.AddSectionDictionary("lost"), {{"missing", std::to_string(record.missing)}});
    for (const Step& step : StepsOf(details, *attempt)) AddStep(section, *attempt, step);
  }
  WriteFile(folder / FileOf(unit.name), Expand("unit", kUnitPage, page));
}

}  // namespace mfgline
