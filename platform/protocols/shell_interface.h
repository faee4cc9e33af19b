// SPDX-License-Identifier: BSD-2-Clause-Patent
// The EFI 1.x shell's interface, which that shell installs on the image handle
// of every application it starts.
#pragma once

#include "platform/efi.h"

inline constexpr EFI_GUID kShellInterfaceProtocolGuid = {
    0x47C7B223, 0xC42A, 0x11D2, {0x8E, 0x57, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};

struct ShellInterface {
  EFI_HANDLE ImageHandle;
  EFI_LOADED_IMAGE* Info;
  const char16_t* const* Argv;
  UINTN Argc;
  const char16_t* const* RedirArgv;
  UINTN RedirArgc;
  EFI_FILE* StdIn;
  EFI_FILE* StdOut;
  EFI_FILE* StdErr;
  void* ArgInfo;  // one flag word an argument: quoted or not
  BOOLEAN EchoOn;
};

static_assert(offsetof(ShellInterface, Argv) == 16);
static_assert(offsetof(ShellInterface, Argc) == 24);
static_assert(offsetof(ShellInterface, ArgInfo) == 72);
static_assert(offsetof(ShellInterface, EchoOn) == 80);
