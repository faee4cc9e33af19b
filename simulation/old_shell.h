// SPDX-License-Identifier: BSD-2-Clause-Patent
// The EFI 1.x shell: its interface on the handle of every program it starts,
// and one environment through which programs run commands.
#pragma once

#include <string>
#include <vector>

#include "platform/protocols/shell_environment.h"
#include "platform/protocols/shell_interface.h"
#include "simulation/command_line.h"
#include "simulation/machine.h"

namespace simulation {

class OldShell {
 public:
  explicit OldShell(Machine& machine);
  OldShell(const OldShell&) = delete;
  OldShell& operator=(const OldShell&) = delete;
  ~OldShell();

  ImageEnd Run(EFI_HANDLE image, ImageEntry entry, const CommandLine& command_line);

  struct Command {
    EFI_HANDLE parent;
    std::u16string line;
    bool debug_output;
  };
  std::vector<Command> commands;
  // What Execute answers.
  EFI_STATUS command_status = EFI_SUCCESS;
  // That shell keeps a 32-bit count; what lies in the field's upper half is
  // nobody's business.
  UINTN upper_half_of_argc = 0xDEADBEEF00000000;

 private:
  Machine& machine_;
  ShellEnvironment environment_{};
  EFI_HANDLE environment_handle_;
};

}  // namespace simulation
