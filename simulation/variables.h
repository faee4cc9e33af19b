// SPDX-License-Identifier: BSD-2-Clause-Patent
// The firmware's variable store.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/efi.h"

namespace simulation {

// The vendor space in which a modern shell keeps its variables.
inline constexpr EFI_GUID kShellVariableGuid = {
    0x158DEF5A, 0xF656, 0x419C, {0xB0, 0x27, 0x7A, 0x31, 0x92, 0xC0, 0x79, 0xD2}};

struct Variable {
  std::u16string name;
  EFI_GUID vendor;
  UINT32 attributes;
  std::vector<std::uint8_t> data;
  // What GetVariable answers; the variable is listed all the same.
  EFI_STATUS read_status = EFI_SUCCESS;
};

// Text as the data of a variable, without a terminator.
std::vector<std::uint8_t> TextData(std::u16string_view text);

class VariableStore {
 public:
  EFI_STATUS Get(const CHAR16* name, const EFI_GUID& vendor, UINT32* attributes, UINTN* size, void* data) const;
  EFI_STATUS Set(const CHAR16* name, const EFI_GUID& vendor, UINT32 attributes, UINTN size, const void* data);
  EFI_STATUS Next(UINTN* size, CHAR16* name, EFI_GUID* vendor) const;

  Variable& Add(std::u16string name, std::vector<std::uint8_t> data, const EFI_GUID& vendor = kShellVariableGuid);
  const Variable* Find(std::u16string_view name, const EFI_GUID& vendor) const;

  // A broken store, whose list begins again after its last variable.
  bool never_ends = false;
  // What SetVariable answers; an error changes nothing.
  EFI_STATUS write_status = EFI_SUCCESS;
  // In the order in which they were made.
  std::vector<Variable> variables;
};

}  // namespace simulation
