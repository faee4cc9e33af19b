// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/old_shell.h"

#include <array>

#include "simulation/fault.h"
#include "simulation/injection.h"

namespace simulation {
namespace {

constexpr std::array kNames = {
    "ShellEnvironment Execute", "ShellEnvironment GetEnv",      "ShellEnvironment GetMap",
    "ShellEnvironment AddCmd",  "ShellEnvironment AddProt",     "ShellEnvironment GetProt",
    "ShellEnvironment CurDir",  "ShellEnvironment FileMetaArg", "ShellEnvironment FreeFileList"};
static_assert(kNamesEverySlot<kNames, sizeof(ShellEnvironment)>);

OldShell* current = nullptr;

EFI_STATUS EFIAPI Execute(EFI_HANDLE* parent, const char16_t* line, BOOLEAN debug_output) {
  Machine::Current().NoteWrite("ShellEnvironment Execute");
  if (const Failure failure = Fails("ShellEnvironment Execute", kOfDevices)) return failure;
  current->commands.push_back({*parent, line, debug_output != FALSE});
  return current->command_status;
}

// Its variables are set by commands only, which are kept as they are.
const char16_t* EFIAPI GetEnv(const char16_t*) { return nullptr; }

}  // namespace

OldShell::OldShell(Machine& machine) : machine_(machine) {
  current = this;
  FillWithRefusals<kNames>(&environment_);
  environment_.Execute = Execute;
  environment_.GetEnv = GetEnv;
  environment_handle_ = machine.handles.Install(kShellEnvironmentProtocolGuid, &environment_);
}

OldShell::~OldShell() {
  machine_.handles.Uninstall(environment_handle_, kShellEnvironmentProtocolGuid, &environment_);
  current = nullptr;
}

ImageEnd OldShell::Run(EFI_HANDLE image, ImageEntry entry, const CommandLine& command_line) {
  ShellInterface interface {};
  interface.ImageHandle = image;
  interface.Argv = command_line.argv.data();
  interface.Argc = command_line.argv.size() | upper_half_of_argc;
  machine_.handles.Install(&image, kShellInterfaceProtocolGuid, &interface);
  const ImageEnd end = machine_.StartImage(image, entry);
  machine_.handles.Uninstall(image, kShellInterfaceProtocolGuid, &interface);
  return end;
}

}  // namespace simulation
