// SPDX-License-Identifier: BSD-2-Clause-Patent
// What a station collects: records and serial logs, written by a machine that
// may be broken, hostile or cut off.
#include <algorithm>
#include <sstream>

#include "fuzz/targets.h"
#include "mfgline/record.h"
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

}  // namespace

void FuzzMfgline(Input input) {
  const bool pure = input.Byte() % 2 != 0;
  const Bytes bytes = input.Rest();
  std::istringstream lines(std::string(bytes.begin(), bytes.end()));
  std::size_t complaints = 0;
  mfgline::Reader reader(pure, ExpectSound, [&](std::size_t, const std::string&) { ++complaints; });
  reader.Read(lines);
  const auto lines_read = static_cast<std::size_t>(std::ranges::count(bytes, '\n')) + 1;
  if (complaints > 3 * lines_read) Fault("more complaints than lines");
}

}  // namespace fuzz
