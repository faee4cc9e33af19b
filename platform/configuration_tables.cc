#include "platform/configuration_tables.h"

namespace platform {

const void* FindConfigurationTable(const EFI_GUID& table) {
  void* found = nullptr;
  if (EFI_ERROR(LibGetSystemConfigurationTable(AsFirmwareGuid(table), &found))) return nullptr;
  return found;
}

}  // namespace platform
