// Recognises the commands of the EFI 1.x shell that set a variable.
#pragma once

#include <array>
#include <span>

namespace testlib {

inline constexpr std::size_t kShellTextCharacters = 512;

// set NAME VALUE, set -v NAME VALUE (lost at the next reset), set -d NAME; each
// word may stand in quotation marks.
struct SetCommand {
  std::array<char16_t, kShellTextCharacters> name;
  std::array<char16_t, kShellTextCharacters> value;  // empty: delete the variable
  bool is_volatile;
};

// False for every other command; `command` then holds nothing of use.
bool ReadSetCommand(const char16_t* command_line, SetCommand* command);

}  // namespace testlib
