// SPDX-License-Identifier: BSD-2-Clause-Patent
// The words of a command line as a shell hands them to a program.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace simulation {

struct CommandLine {
  explicit CommandLine(std::vector<std::u16string> given) : words(std::move(given)) {
    for (const std::u16string& word : words) argv.push_back(word.c_str());
  }
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  const std::vector<std::u16string> words;
  std::vector<const char16_t*> argv;
};

}  // namespace simulation
