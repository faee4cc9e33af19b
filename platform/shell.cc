// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/shell.h"

#include <array>

#include "platform/format.h"
#include "platform/handles.h"
#include "platform/protocols/shell.h"
#include "platform/protocols/shell_environment.h"

namespace platform {
namespace {

constexpr std::size_t kCommandCharacters = 512;

EFI_STATUS SetByCommand(ShellEnvironment* shell, EFI_HANDLE image, const char16_t* name, const char16_t* value,
                        VariableLife life) {
  std::array<char16_t, kCommandCharacters> command;
  if (value == nullptr || *value == 0) {
    FormatText(command, "set -d \"%s\"", name);
  } else if (life == VariableLife::kUntilReset) {
    FormatText(command, "set -v \"%s\" \"%s\"", name, value);
  } else {
    FormatText(command, "set \"%s\" \"%s\"", name, value);
  }
  return shell->Execute(&image, command.data(), FALSE);
}

}  // namespace

bool HasModernShell() { return FirstInterface(kShellProtocolGuid) != nullptr; }

EFI_STATUS SetShellVariable(EFI_HANDLE image, const char16_t* name, const char16_t* value, VariableLife life) {
  auto* const shell = FirstInterface<Shell>(kShellProtocolGuid);
  if (shell != nullptr) {
    return shell->SetEnv(AsFirmwareText(name), AsFirmwareText(value == nullptr ? u"" : value),
                         life == VariableLife::kUntilReset);
  }
  auto* const old_shell = FirstInterface<ShellEnvironment>(kShellEnvironmentProtocolGuid);
  return old_shell == nullptr ? EFI_UNSUPPORTED : SetByCommand(old_shell, image, name, value, life);
}

const char16_t* ShellVariable(const char16_t* name) {
  auto* const shell = FirstInterface<Shell>(kShellProtocolGuid);
  return shell == nullptr ? nullptr : AsText(shell->GetEnv(AsFirmwareText(name)));
}

}  // namespace platform
