// SPDX-License-Identifier: BSD-2-Clause-Patent
// Commands for the EFI 1.x shell.
#pragma once

#include "platform/protocols/shell_environment.h"

namespace platform {

// Has the shell run a command line on behalf of the running image.
EFI_STATUS ExecuteShellCommand(ShellEnvironment* shell, const char16_t* command);

}  // namespace platform
