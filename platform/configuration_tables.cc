#include "platform/configuration_tables.h"

namespace platform {

bool FindConfigurationTable(const EFI_GUID& guid, const void** table) {
  void* found = nullptr;
  if (EFI_ERROR(LibGetSystemConfigurationTable(AsFirmwareGuid(guid), &found))) return false;
  *table = found;
  return true;
}

EFI_STATUS ListConfigurationTable(const EFI_GUID& guid, const void* table) {
  return BS->InstallConfigurationTable(AsFirmwareGuid(guid), const_cast<void*>(table));
}

}  // namespace platform
