// SPDX-License-Identifier: BSD-2-Clause-Patent
// The module and the test library on a replayed machine.
#pragma once

#include <string>
#include <vector>

#include "replay/machine.h"
#include "testlib/results.h"

namespace replay {

using testlib::Verdict;

// From the start of testlib.efi to the end of the boot.
class Session {
 public:
  // Loads the test library. Waits are counted, or waited for as well.
  Session(ReplayedMachine& machine, bool waits_for_real);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  // One start of mfgtest.efi with these words; kNone where they start no test.
  Verdict Run(const std::vector<std::string>& words);
  // The line of start.efi with these words.
  Verdict RunLine(std::vector<std::string> words);

 private:
  ReplayedMachine& machine_;
  EFI_HANDLE library_ = nullptr;
};

}  // namespace replay
