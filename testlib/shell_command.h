// Recognises the commands of the EFI 1.x shell that set a variable.
#pragma once

#include <array>
#include <span>

namespace testlib {

inline constexpr std::size_t kShellTextCharacters = 512;

// set "NAME" "VALUE" or set -d "NAME".
struct SetCommand {
  std::array<char16_t, kShellTextCharacters> name;
  std::array<char16_t, kShellTextCharacters> value;  // empty: delete the variable
};

// False for every other command, and for a name or value that is empty, too
// long or holds a quotation mark or a control character; `command` then holds
// nothing of use.
bool ReadSetCommand(const char16_t* command_line, SetCommand* command);

}  // namespace testlib
