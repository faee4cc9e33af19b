// SPDX-License-Identifier: BSD-2-Clause-Patent
// Records of line runs as testlib writes them: OCP Test & Validation output
// 2.0, one JSON object a line, in a file of their own or in the log of a serial
// port. All text in them but start is clean (mfgline/text.h).
#pragma once

#include <cstddef>
#include <functional>
#include <istream>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mfgline {

struct Value {
  std::string name;
  std::string value;
  std::string unit;
  // What it had to be: "SN-0000001", ">= 1323 and <= 1343".
  std::string limit;
  // The limit is not kept, and the test of it failed.
  bool outside = false;
  // Of a value that may drift, because its limit is a range.
  std::optional<double> number;
};

struct Finding {
  // A station's error, else a unit's failure.
  bool station = false;
  std::string code;
  std::string message;
  // The value that the finding is about, where there is one.
  std::string name;
  std::string measured;
  std::string limit;
};

struct Step {
  std::string id;
  std::string title;
  // PASS, FAIL, ERROR, SKIP, or LOST with the line that told.
  std::string verdict;
  // Why the step was left out, and what else was logged.
  std::string note;
  long seconds = 0;
  long waits = 0;
  long repeats = 0;
  std::vector<Value> values;
  std::vector<Finding> findings;
};

// What the line of a testRunStart says: "parameters.NIC_Index" and so on, clean.
std::map<std::string, std::string> SettingsOf(const std::string& start);

// The test of a step: "4" of the repetition "4.2".
std::string TestOf(std::string_view step);

struct Record {
  std::string unit;
  std::string started;
  std::string ended;
  // PASS, FAIL, ERROR or SKIP; PARTIAL when single tests passed, which is no
  // word about the unit.
  std::string verdict;
  std::string product;
  std::string station;
  std::string order;
  std::string person;
  std::string version;
  std::string command;
  // Lines read, and lines that the sequence numbers show to be lost.
  long lines = 0;
  long missing = 0;
  std::string source;
  // The line of testRunStart as it came.
  std::string start;
  std::vector<Step> steps;
};

// Finds the records in lines. What is damaged is told and costs only itself.
class Reader {
 public:
  using OnRecord = std::function<void(Record&&)>;
  using Complain = std::function<void(std::size_t line, const std::string& text)>;

  // With pure, each line has to be one of a record; else the first line tells
  // whether that holds, or "@MFG " marks the lines of records.
  Reader(bool pure, OnRecord on_record, Complain complain)
      : pure_(pure), on_record_(std::move(on_record)), complain_(std::move(complain)) {}

  void Read(std::istream& lines);
  std::size_t records() const { return records_; }

 private:
  void TakeLine(std::string_view line);
  void TakeObject(std::string_view text);
  void Damaged(const char* what);
  void Begin();
  void Follow(long number);
  // These give false for what has no place in a record.
  bool TakeRunArtifact(const nlohmann::json& artifact, const std::string& time, std::string_view text);
  bool TakeStepArtifact(const nlohmann::json& artifact, const std::string& time);
  void Finish();

  bool pure_;
  OnRecord on_record_;
  Complain complain_;
  std::size_t line_ = 0;
  std::size_t records_ = 0;
  bool first_ = true;
  bool open_ = false;
  // The sequence number that comes next, and damaged lines since the last one.
  long expected_ = 0;
  long damaged_ = 0;
  Record record_;
  // "COMPLETE/PASS" and so on, empty before testRunEnd.
  std::string end_;
  std::map<std::string, std::string> step_times_;
};

}  // namespace mfgline
