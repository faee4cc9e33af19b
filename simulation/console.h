// SPDX-License-Identifier: BSD-2-Clause-Patent
// The operator's console: what was written on it, and the keys to come.
#pragma once

#include <deque>
#include <string>

#include "platform/efi.h"

namespace simulation {

struct Console {
  Console();

  std::u16string written;
  std::deque<char16_t> keys;

  SIMPLE_TEXT_OUTPUT_INTERFACE output{};
  SIMPLE_INPUT_INTERFACE input{};

 private:
  SIMPLE_TEXT_OUTPUT_MODE mode_{};
};

}  // namespace simulation
