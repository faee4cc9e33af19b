// SPDX-License-Identifier: BSD-2-Clause-Patent
// The line run: which tests, in which order, with which words and answers, how
// far it came and what it found. start.efi drives it through the line-run
// protocol.
#pragma once

#include "platform/protocols/line_run.h"
#include "testlib/parameters.h"

namespace testlib {

struct LineState {
  static constexpr std::size_t kTests = 64;
  static constexpr std::size_t kWords = 160;
  static constexpr std::size_t kAnswers = 32;
  static constexpr std::size_t kFailures = 24;

  bool is_open;
  bool stops;   // at the first test that does not pass
  bool writes;  // runs the tests that program something
  bool is_broken;
  std::array<std::uint32_t, kTests> tests;
  std::size_t count;
  std::size_t next;
  std::size_t ended;
  AfterLine after;
  std::uint32_t timeout;  // seconds of a test beyond its waits

  std::array<Parameter, kAnswers> answers;
  std::size_t answer_count;
  std::array<char16_t, kValueCharacters + 1> ipmi_options;

  // The arguments of the module: its path, the test, the words of the line.
  std::array<const char16_t*, kWords> arguments;
  std::size_t argument_count;
  std::array<char16_t, 12> number;
  LineTest test;
  std::uint32_t runs_before;  // the test that runs
  std::uint64_t waited;       // milliseconds, by the test that runs
  std::uint64_t shown_seconds;

  // The report.
  LineReport report;
  std::array<LineFailure, kFailures> failures;
  std::array<std::array<char16_t, 64>, kFailures> failed_tests;
  std::array<char16_t, 256> reason;  // of a broken line
  std::array<char16_t, 160> summary;
  std::array<char16_t, kValueCharacters + 1> unit;
  std::array<char16_t, 80> remark;
};

// Fills the protocol's table.
void FillLineRun(LineRun& table);

// The operator's answer to a question, or null outside of a line and where
// nothing was asked.
const Parameter* FindLineAnswer(const char16_t* name);

// A test of the line is about to wait.
void NoteLineWait(std::uint32_t milliseconds);

// A test of the line waits for the operator, who may take his time, or has the
// answer.
void PauseLineTimeout();
void ResumeLineTimeout();

}  // namespace testlib
