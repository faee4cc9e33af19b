// The command-line shell, modern or EFI 1.x: its variables.
#pragma once

#include "platform/efi.h"

namespace platform {

enum class VariableLife { kUntilReset, kKept };

// Whether a shell with the protocol of the UEFI Shell Specification runs.
bool HasModernShell();

// Sets a variable of the shell or, with an empty or null value, deletes it. Where
// no shell runs, it is left where a modern one would keep it.
// `image` is the program on whose behalf an EFI 1.x shell does it.
EFI_STATUS SetShellVariable(EFI_HANDLE image, const char16_t* name, const char16_t* value, VariableLife life);

// Whether a variable of that name is still there for a script to read.
bool HasShellVariable(const char16_t* name);

// A variable's value, which the shell owns; null when there is none, and on an
// EFI 1.x shell.
const char16_t* ShellVariable(const char16_t* name);

}  // namespace platform
