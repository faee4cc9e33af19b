// SPDX-License-Identifier: BSD-2-Clause-Patent
// The shell protocol and the shell parameters protocol (UEFI Shell
// Specification 2.2, sections 2.2 and 2.3): what a modern shell offers instead
// of the EFI 1.x interfaces. The structures are gnu-efi's.
#pragma once

#include "platform/efi.h"

inline constexpr EFI_GUID kShellProtocolGuid = EFI_SHELL_PROTOCOL_GUID;
inline constexpr EFI_GUID kShellParametersProtocolGuid = EFI_SHELL_PARAMETERS_PROTOCOL_GUID;

using Shell = EFI_SHELL_PROTOCOL;
using ShellParameters = EFI_SHELL_PARAMETERS_PROTOCOL;

static_assert(offsetof(Shell, SetEnv) == 2 * sizeof(void*));
static_assert(offsetof(Shell, OpenFileByName) == 24 * sizeof(void*));
static_assert(offsetof(Shell, ExecutionBreak) == 39 * sizeof(void*));
static_assert(offsetof(ShellParameters, Argc) == 8);
