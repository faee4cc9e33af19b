// SPDX-License-Identifier: BSD-2-Clause-Patent
// The operator's console: what was written on it, and the keys to come.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <string_view>

#include "platform/efi.h"

namespace simulation {

struct Console {
  Console();

  std::u16string written;
  std::deque<char16_t> keys;
  // Sees what is written as it is written.
  std::function<void(std::u16string_view text)> on_write;
  // Runs when a program waits for a key and there is none: somebody may type.
  std::function<void()> on_wait;

  SIMPLE_TEXT_OUTPUT_INTERFACE output{};
  SIMPLE_INPUT_INTERFACE input{};

 private:
  SIMPLE_TEXT_OUTPUT_MODE mode_{};
};

}  // namespace simulation
