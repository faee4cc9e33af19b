// SPDX-License-Identifier: BSD-2-Clause-Patent
// A test library that records what the module does with it.
#pragma once

#include <deque>
#include <map>
#include <string>
#include <vector>

#include "platform/protocols/test_library.h"
#include "simulation/machine.h"
#include "testlib/transcript.h"

namespace simulation {

using testlib::Operation;

// One call of the library.
struct Call {
  Operation operation;
  // The test, code, mask, subtest, number, milliseconds or maximum.
  std::uint64_t number = 0;
  std::uint64_t flags = 0;
  TestLibraryStatus status = kTestLibrarySuccess;
  std::u16string key{};
  std::u16string format{};
  // The message as the operator would see it, or the text that was handed over.
  std::u16string text{};
};

// The call as a line of the transcript that the real library's --trace shows.
std::string TranscriptText(const Call& call);

class Recorder {
 public:
  explicit Recorder(Machine& machine);
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;
  ~Recorder();

  // Whether the table is as it was installed.
  bool TableIsWhole() const;

  // What the operator gave.
  std::uint32_t selected_test = 0;
  std::map<std::u16string, std::u16string> parameters;
  std::deque<std::u16string> answers;
  // Answers of the library other than the usual ones.
  TestLibraryStatus initialize_status = kTestLibrarySuccess;
  std::map<std::u16string, TestLibraryStatus> parameter_statuses;

  std::vector<Call> calls;
  // The descriptor as Initialize got it, and its argument vector.
  TestDescriptor descriptor{};
  std::vector<std::u16string> arguments;
  bool table_was_whole_in_initialize = false;

  TestLibrary table{};

 private:
  Machine& machine_;
  EFI_HANDLE handle_;
};

}  // namespace simulation
