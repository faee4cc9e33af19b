// The UEFI shell 2.x: its protocol, its parameters on the handle of every
// program it starts, files, and variables that are firmware variables.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/efi.h"
#include "simulation/command_line.h"
#include "simulation/machine.h"

namespace simulation {

class ModernShell {
 public:
  explicit ModernShell(Machine& machine);
  ModernShell(const ModernShell&) = delete;
  ModernShell& operator=(const ModernShell&) = delete;
  ~ModernShell();

  ImageEnd Run(EFI_HANDLE image, ImageEntry entry, const CommandLine& command_line);

  std::vector<std::u16string> commands;
  // By the path under which a program opens them.
  std::map<std::u16string, std::vector<std::uint8_t>> files;

 private:
  Machine& machine_;
  EFI_SHELL_PROTOCOL protocol_{};
};

}  // namespace simulation
