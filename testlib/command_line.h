// SPDX-License-Identifier: BSD-2-Clause-Patent
// The command line of a run: what to do, and with which parameters.
#pragma once

#include "testlib/parameters.h"

namespace testlib {

inline constexpr std::size_t kParameterFiles = 16;
inline constexpr std::size_t kAnswers = 32;

// A bounded list of words of the command line, which the shell owns while the
// module runs.
template <std::size_t kSize>
struct Words {
  std::array<const char16_t*, kSize> words;
  std::size_t count;
};

enum class Action : std::uint8_t { kRunTest, kShowParameters, kListTests, kShowSummary, kShowHelp, kConnect };

struct CommandLine {
  Action action;
  bool has_test;
  bool trace;
  bool gdb;  // tells a debugger where the module is
  std::uint32_t test;
  std::uint32_t debug_mask;
  bool has_delay_scale;
  std::uint32_t delay_scale;  // percent
  const char16_t* record;     // file or folder of the record; null for none
  Words<kParameterFiles> files;
  Words<kAnswers> answers;
  Words<kParameters> definitions;  // NAME=VALUE as it was given
};

// Reads the shell's arguments; the first is the program. False, with the
// reason in `error`, at the first word that cannot be taken; what stood before
// it is kept.
bool ReadCommandLine(std::span<const char16_t* const> arguments, CommandLine& command_line, ErrorText& error);

inline constexpr std::uint32_t kWholePercent = 100;

// Reads a share of the waits, 0 to 100 percent.
bool ParseDelayScale(std::u16string_view text, std::uint32_t* percent);

// Defines the parameters that the command line gives.
bool DefineFromCommandLine(const CommandLine& command_line, ParameterStore& store, ErrorText& error);

// The file that is read without being named, in the module's folder.
inline constexpr const char16_t* kFileBesideModule = u"mfgtest.cfg";

// The file behind a source number: 0 is the one beside the module, n the n-th
// of the command line.
inline const char16_t* SourceName(const CommandLine& command_line, std::uint16_t source) {
  return source == 0 ? kFileBesideModule : command_line.files.words[source - 1u];
}

// How a run is started, line by line.
extern const char16_t* const kHelpText;

}  // namespace testlib
