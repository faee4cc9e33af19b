#include "platform/variables.h"

namespace platform {

bool NextVariable(VariableCursor& cursor) {
  UINTN size = VariableCursor::kNameBytes;
  return !EFI_ERROR(RT->GetNextVariableName(&size, AsFirmwareText(cursor.name.data()), &cursor.vendor));
}

PoolBuffer ReadVariable(const char16_t* name, const EFI_GUID& vendor) {
  UINTN size = 0;
  void* const data = LibGetVariableAndSize(AsFirmwareText(name), AsFirmwareGuid(vendor), &size);
  return {data, size};
}

}  // namespace platform
