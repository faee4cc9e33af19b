// The two EFI 1.x shell protocols on a modern shell, which no longer has them:
// the shell interface on every application it starts, and the one shell
// environment through which an application sets variables.
#pragma once

#include <array>

#include "platform/handles.h"
#include "platform/protocols/shell_environment.h"
#include "platform/protocols/shell_interface.h"

namespace testlib {

struct ShellBridge {
  // One for each application that may run inside another.
  static constexpr std::size_t kSlots = 16;
  struct Slot {
    EFI_HANDLE image;  // null: free
    ShellInterface interface;
  };
  EFI_HANDLE provider;  // carries the shell environment; null when the shell has its own
  ShellEnvironment environment;
  std::array<Slot, kSlots> slots;
  platform::ProtocolWatch watch;
};

// What is done whenever the shell starts an application.
using ApplicationStarted = void (*)();

// Puts the shell environment on `provider`, unless the shell has its own, and
// watches for applications.
EFI_STATUS StartBridge(ShellBridge& bridge, EFI_HANDLE provider, ApplicationStarted on_start);

// Takes the shell interface off an image.
void EndInterface(ShellBridge& bridge, EFI_HANDLE image);

// Takes everything back; an error when somebody still holds part of it. The
// bridge then has to stay in memory, and this may be tried again.
EFI_STATUS EndBridge(ShellBridge& bridge);

}  // namespace testlib
