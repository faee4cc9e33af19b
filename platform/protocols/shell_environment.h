// SPDX-License-Identifier: BSD-2-Clause-Patent
// The EFI 1.x shell's environment: one instance in the system, through which a
// program runs shell commands.
#pragma once

#include "platform/efi.h"

inline constexpr EFI_GUID kShellEnvironmentProtocolGuid = {
    0x47C7B221, 0xC42A, 0x11D2, {0x8E, 0x57, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};

struct ShellEnvironment {
  EFI_STATUS(EFIAPI* Execute)(EFI_HANDLE* parent_image, const char16_t* command_line, BOOLEAN debug_output);
  const char16_t*(EFIAPI* GetEnv)(const char16_t* name);
  const char16_t*(EFIAPI* GetMap)(const char16_t* name);
  EFI_STATUS(EFIAPI* AddCmd)(void* handler, const char16_t* command, void* get_line_help);
  void(EFIAPI* AddProt)(const EFI_GUID* protocol, void* dump_token, void* dump_info, const char16_t* id);
  const char16_t*(EFIAPI* GetProt)(const EFI_GUID* protocol, BOOLEAN generate_id);
  const char16_t*(EFIAPI* CurDir)(const char16_t* device);
  EFI_STATUS(EFIAPI* FileMetaArg)(const char16_t* argument, void* list_head);
  EFI_STATUS(EFIAPI* FreeFileList)(void* list_head);
};

static_assert(offsetof(ShellEnvironment, Execute) == 0);
static_assert(sizeof(ShellEnvironment) == 9 * sizeof(void*));
