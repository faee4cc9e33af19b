// SPDX-License-Identifier: BSD-2-Clause-Patent
// Where the lines of a record go: into a file that is closed after each test,
// and to the serial ports. What the file does not take stays in memory.
#pragma once

#include <string_view>

#include "platform/growing_file.h"

namespace testlib {

using Timestamp = std::array<char, 20>;  // 2026-11-21T21:43:10Z
using StorePath = decltype(platform::FilePlace::path);

struct RecordStore {
  static constexpr std::size_t kBytes = 256 * 1024;
  static constexpr std::size_t kBatch = 64 * 1024;

  // What the file is to be called: "-2", "-3" and so on come before the ending
  // when the name is taken. The folder is made when it is not there.
  EFI_HANDLE volume;
  StorePath folder;  // empty for none to make
  StorePath stem;
  StorePath ending;
  bool has_file;  // one is wanted
  bool uses_serial;

  platform::GrowingFile file;
  bool is_made;
  EFI_STATUS status;        // of the last attempt to write
  std::uint64_t in_file;    // lines
  std::uint64_t on_serial;  // lines
  std::uint64_t left_out;   // debug messages for which there was no room
  bool is_broken;           // a line of another kind was lost

  // Lines that are in no file yet: the kind, the time, the line, a line end.
  std::array<char, kBytes> waiting;
  std::size_t length;
  std::array<char, kBatch> batch;
};

enum class LineKind : char { kResult = 'R', kDebug = 'D' };

// Takes a line, which is a JSON object without its braces; number and time are
// added to it. The serial ports get it at once. When memory is full the oldest
// debug messages go.
void Keep(RecordStore& store, LineKind kind, const Timestamp& time, std::string_view artifact);

// Brings everything that waits into the file, and closes it. False, with the
// rest still waiting, when the file does not take it, and when none is wanted.
bool WriteOut(RecordStore& store);

}  // namespace testlib
