// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/shell_environment.h"

#include "platform/image.h"

namespace platform {

EFI_STATUS ExecuteShellCommand(ShellEnvironment* shell, const char16_t* command) {
  // The shell wants the address of the parent's handle, not the handle.
  EFI_HANDLE parent = RunningImage();
  return shell->Execute(&parent, command, FALSE);
}

}  // namespace platform
