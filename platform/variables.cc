#include "platform/variables.h"

#include <algorithm>

namespace platform {

bool NextVariable(VariableCursor& cursor) {
  UINTN size = VariableCursor::kNameBytes;
  return !EFI_ERROR(RT->GetNextVariableName(&size, AsFirmwareText(cursor.name.data()), &cursor.vendor));
}

EFI_STATUS ReadVariableInto(const char16_t* name, const EFI_GUID& vendor, std::span<std::uint8_t> data,
                            std::size_t* size) {
  UINTN length = data.size();
  const EFI_STATUS status =
      RT->GetVariable(AsFirmwareText(name), AsFirmwareGuid(vendor), nullptr, &length, data.data());
  *size = EFI_ERROR(status) ? 0 : std::min(length, data.size());
  return status;
}

EFI_STATUS WriteVariable(const char16_t* name, const EFI_GUID& vendor, std::uint32_t attributes,
                         std::span<const std::uint8_t> data) {
  return RT->SetVariable(AsFirmwareText(name), AsFirmwareGuid(vendor), attributes, data.size(),
                         const_cast<std::uint8_t*>(data.data()));
}

PoolBuffer ReadVariable(const char16_t* name, const EFI_GUID& vendor) {
  UINTN size = 0;
  void* const data = LibGetVariableAndSize(AsFirmwareText(name), AsFirmwareGuid(vendor), &size);
  return {data, size};
}

}  // namespace platform
