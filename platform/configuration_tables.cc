#include "platform/configuration_tables.h"

namespace platform {

bool FindConfigurationTable(const EFI_GUID& guid, const void** table) {
  void* found = nullptr;
  if (EFI_ERROR(LibGetSystemConfigurationTable(AsFirmwareGuid(guid), &found))) return false;
  *table = found;
  return true;
}

}  // namespace platform
