#include "platform/shell.h"

#include <array>
#include <string_view>

#include "platform/format.h"
#include "platform/handles.h"
#include "platform/protocols/shell.h"
#include "platform/protocols/shell_environment.h"
#include "platform/protocols/test_library.h"
#include "platform/variables.h"

namespace platform {
namespace {

constexpr std::size_t kCommandCharacters = 512;

// Under which a modern shell keeps its variables among the firmware's.
constexpr EFI_GUID kShellVariableVendor = {
    0x158DEF5A, 0xF656, 0x419C, {0xB0, 0x27, 0x7A, 0x31, 0x92, 0xC0, 0x79, 0xD2}};

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

// The environment of an EFI 1.x shell, or null. The one on the test library's own
// handle only stands in for it.
ShellEnvironment* OldShell() {
  HandleList found;
  if (EFI_ERROR(LocateAllHandles(kShellEnvironmentProtocolGuid, &found))) return nullptr;
  for (const EFI_HANDLE handle : found.handles) {
    void* library = nullptr;
    ShellEnvironment* shell = nullptr;
    if (!EFI_ERROR(HandleInterface(handle, kTestLibraryProtocolGuid, &library))) continue;
    if (!EFI_ERROR(HandleInterface(handle, kShellEnvironmentProtocolGuid, &shell))) return shell;
  }
  return nullptr;
}

// Where no shell runs, the variable is left where a modern shell would keep it,
// and a later one finds it.
EFI_STATUS SetWithoutShell(const char16_t* name, std::u16string_view value, VariableLife life) {
  const std::uint32_t kept = life == VariableLife::kKept ? EFI_VARIABLE_NON_VOLATILE : 0;
  return WriteVariable(name, kShellVariableVendor, EFI_VARIABLE_BOOTSERVICE_ACCESS | kept,
                       {reinterpret_cast<const std::uint8_t*>(value.data()), value.size() * sizeof(char16_t)});
}

}  // namespace

bool HasModernShell() { return FirstInterface(kShellProtocolGuid) != nullptr; }

EFI_STATUS SetShellVariable(EFI_HANDLE image, const char16_t* name, const char16_t* value, VariableLife life) {
  auto* const shell = FirstInterface<Shell>(kShellProtocolGuid);
  if (shell != nullptr) {
    return shell->SetEnv(AsFirmwareText(name), AsFirmwareText(value == nullptr ? u"" : value),
                         life == VariableLife::kUntilReset);
  }
  ShellEnvironment* const old_shell = OldShell();
  return old_shell == nullptr ? SetWithoutShell(name, value == nullptr ? u"" : value, life)
                              : SetByCommand(old_shell, image, name, value, life);
}

bool HasShellVariable(const char16_t* name) {
  if (HasModernShell()) return ShellVariable(name) != nullptr;
  ShellEnvironment* const old_shell = OldShell();
  if (old_shell != nullptr && old_shell->GetEnv(name) != nullptr) return true;
  std::uint8_t data = 0;
  std::size_t size = 0;
  return ReadVariableInto(name, kShellVariableVendor, {&data, 1}, &size) != EFI_NOT_FOUND;
}

const char16_t* ShellVariable(const char16_t* name) {
  auto* const shell = FirstInterface<Shell>(kShellProtocolGuid);
  return shell == nullptr ? nullptr : AsText(shell->GetEnv(AsFirmwareText(name)));
}

}  // namespace platform
