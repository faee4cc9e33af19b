// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/variables.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace simulation {

std::vector<std::uint8_t> TextData(std::u16string_view text) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  return {bytes, bytes + text.size() * sizeof(char16_t)};
}

const Variable* VariableStore::Find(std::u16string_view name, const EFI_GUID& vendor) const {
  const auto found =
      std::ranges::find_if(variables, [&](const Variable& v) { return v.name == name && SameGuid(v.vendor, vendor); });
  return found == variables.end() ? nullptr : &*found;
}

Variable& VariableStore::Add(std::u16string name, std::vector<std::uint8_t> data, const EFI_GUID& vendor) {
  return variables.emplace_back(
      Variable{std::move(name), vendor, EFI_VARIABLE_NON_VOLATILE | EFI_VARIABLE_BOOTSERVICE_ACCESS, std::move(data)});
}

EFI_STATUS VariableStore::Get(const CHAR16* name, const EFI_GUID& vendor, UINT32* attributes, UINTN* size,
                              void* data) const {
  const Variable* const variable = Find(AsText(name), vendor);
  if (variable == nullptr) return EFI_NOT_FOUND;
  if (EFI_ERROR(variable->read_status)) return variable->read_status;
  const bool fits = *size >= variable->data.size();
  *size = variable->data.size();
  if (!fits) return EFI_BUFFER_TOO_SMALL;
  if (attributes != nullptr) *attributes = variable->attributes;
  std::ranges::copy(variable->data, static_cast<std::uint8_t*>(data));
  return EFI_SUCCESS;
}

EFI_STATUS VariableStore::Set(const CHAR16* name, const EFI_GUID& vendor, UINT32 attributes, UINTN size,
                              const void* data) {
  if (EFI_ERROR(write_status)) return write_status;
  auto* const variable = const_cast<Variable*>(Find(AsText(name), vendor));
  const auto* const bytes = static_cast<const std::uint8_t*>(data);
  if (size == 0) {
    if (variable == nullptr) return EFI_NOT_FOUND;
    variables.erase(variables.begin() + (variable - variables.data()));
  } else if (variable == nullptr) {
    Add(AsText(name), {bytes, bytes + size}, vendor).attributes = attributes;
  } else {
    variable->data.assign(bytes, bytes + size);
  }
  return EFI_SUCCESS;
}

EFI_STATUS VariableStore::Next(UINTN* size, CHAR16* name, EFI_GUID* vendor) const {
  std::size_t next = 0;
  if (*name != 0) {
    const Variable* const current = Find(AsText(name), *vendor);
    if (current == nullptr) return EFI_INVALID_PARAMETER;
    next = static_cast<std::size_t>(current - variables.data()) + 1;
  }
  if (never_ends && next == variables.size()) next = 0;
  if (next == variables.size()) return EFI_NOT_FOUND;
  const Variable& variable = variables[next];
  const UINTN needed = (variable.name.size() + 1) * sizeof(CHAR16);
  const bool fits = *size >= needed;
  *size = needed;
  if (!fits) return EFI_BUFFER_TOO_SMALL;
  std::memcpy(name, variable.name.c_str(), needed);
  *vendor = variable.vendor;
  return EFI_SUCCESS;
}

}  // namespace simulation
