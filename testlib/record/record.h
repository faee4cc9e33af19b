// SPDX-License-Identifier: BSD-2-Clause-Patent
// The record of a line run or of a single test: OCP Test & Validation output
// 2.0, one JSON object a line (docs/records.md).
#pragma once

#include <span>

#include "platform/protocols/test_library.h"
#include "platform/utc.h"
#include "testlib/record/json_line.h"
#include "testlib/record/store.h"
#include "testlib/results.h"

namespace testlib {

struct Record {
  bool is_open;
  bool is_line;      // else of a single test
  bool is_required;  // one that is not complete makes the verdict an error
  bool is_started;   // its first lines are written
  bool has_step;
  bool has_told;  // the operator, that the drive does not take it

  std::array<char16_t, 24> step;
  std::array<std::uint8_t, RemovedTests::kTests + 1> starts;  // of each test; the last: of all others
  std::array<char16_t, 1024> command_line;
  std::array<char16_t, 32> module_version;

  platform::UtcTime time;
  bool is_clock_set;
  std::uint64_t read_at;  // when the clock was read, in hundredths

  JsonLine line;
  RecordStore store;
};

// A line begins; its parameters are read, or could not be. The file is made
// beside the module.
void BeginLineRecord(EFI_HANDLE module, std::span<const char16_t* const> words);

// A run begins. Its step begins, and the record of a single test that asks for
// one, with the first thing that is to be told.
void PrepareRecord(const TestDescriptor& descriptor);
void BeginStep();

// The library itself ends the run, or the line outside of a run.
void RecordError(const char16_t* symptom, const char16_t* message);
// A test that does not apply to the machine.
void RecordRemoval(const char16_t* reason, const char16_t* error_when_required);

// What the test tells.
void RecordResult(const char16_t* key, const char16_t* value);
void RecordResult(const char16_t* key, std::uint64_t value);
void RecordFailure(std::uint64_t code, const char16_t* format, __builtin_ms_va_list arguments, const char16_t* message);
void RecordDebugMessage(const char16_t* message);

// A result that the order requires is not there at the end of the line.
void RecordMissingResult(const char16_t* key);

// The run ends. The verdict is an error when a required record of a single test
// is not complete.
Verdict EndStep(Verdict verdict);

// The line ends, likewise.
Verdict EndRecord(Verdict verdict);

// The file that holds the whole record; empty as long as there is none.
const char16_t* RecordPath();

}  // namespace testlib
