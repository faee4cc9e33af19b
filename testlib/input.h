// SPDX-License-Identifier: BSD-2-Clause-Patent
// What the operator types, or gave in advance.
#pragma once

#include <span>

namespace testlib {

// Reads a line, cut to what fits behind its terminator.
void ReadLine(std::span<char16_t> answer);

// The same for a value that has to be there. False, with an empty
// answer, when the operator gave up (Escape or Ctrl-C), or when answers were
// given in advance and none is left.
bool ReadAnswer(std::span<char16_t> answer);

}  // namespace testlib
