// Everything that the resident library keeps, in one block of the pool.
#pragma once

#include "testlib/command_line.h"
#include "testlib/line.h"
#include "testlib/parameter_file.h"
#include "testlib/results.h"
#include "testlib/shell_bridge.h"
#include "testlib/transcript.h"

namespace testlib {

struct State {
  EFI_HANDLE provider;  // carries the test library
  TestLibrary table;
  LineRun line_table;
  ShellBridge bridge;

  // The boot.
  RunHistory history;
  ResultStore results;
  RemovedTests removed;

  LineState line_run;

  // The run that is open.
  Run run;
  EFI_HANDLE module;
  CommandLine command_line;
  ParameterStore parameters;
  std::size_t answers_used;

  // Working space.
  std::array<char16_t, 4096> message;
  TranscriptLine line;
  std::array<std::uint8_t, kFileBytes> file;
};

// Null while the driver is not loaded.
extern constinit State* state;

}  // namespace testlib
