// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/variables.h"

namespace platform {

bool NextVariable(VariableCursor& cursor) {
  UINTN size = VariableCursor::kNameBytes;
  const EFI_STATUS status = RT->GetNextVariableName(&size, AsFirmwareText(cursor.name.data()), &cursor.vendor);
  return !EFI_ERROR(status) && size <= VariableCursor::kNameBytes;
}

EFI_STATUS ReadVariableInto(const char16_t* name, const EFI_GUID& vendor, std::span<std::uint8_t> data,
                            std::size_t* size) {
  UINTN length = data.size();
  EFI_STATUS status = RT->GetVariable(AsFirmwareText(name), AsFirmwareGuid(vendor), nullptr, &length, data.data());
  if (!EFI_ERROR(status) && length > data.size()) status = EFI_COMPROMISED_DATA;
  *size = EFI_ERROR(status) ? 0 : length;
  return status;
}

EFI_STATUS WriteVariable(const char16_t* name, const EFI_GUID& vendor, std::uint32_t attributes,
                         std::span<const std::uint8_t> data) {
  return RT->SetVariable(AsFirmwareText(name), AsFirmwareGuid(vendor), attributes, data.size(),
                         const_cast<std::uint8_t*>(data.data()));
}

// gnu-efi's own routine asks for as long as it is told that its buffer is too
// small; a variable may grow between two calls, but a run has to end.
PoolBuffer ReadVariable(const char16_t* name, const EFI_GUID& vendor) {
  constexpr UINTN kUsualSize = 100;
  constexpr unsigned kAttempts = 4;
  UINTN size = kUsualSize;
  for (unsigned attempt = 0; attempt < kAttempts; ++attempt) {
    const UINTN capacity = size;
    void* const data = ::AllocatePool(capacity);
    if (data == nullptr) break;
    const EFI_STATUS status = RT->GetVariable(AsFirmwareText(name), AsFirmwareGuid(vendor), nullptr, &size, data);
    // More than there was room for is nothing that can be trusted.
    if (!EFI_ERROR(status) && size <= capacity) return {data, size};
    ::FreePool(data);
    if (status != EFI_BUFFER_TOO_SMALL) break;
  }
  return {};
}

}  // namespace platform
