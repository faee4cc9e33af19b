// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/configuration_tables.h"

#include <span>

namespace platform {

bool FindConfigurationTable(const EFI_GUID& guid, const void** table) {
  const std::span entries(ST->ConfigurationTable, ST->NumberOfTableEntries);
  for (const EFI_CONFIGURATION_TABLE& entry : entries) {
    if (!SameGuid(entry.VendorGuid, guid)) continue;
    *table = entry.VendorTable;
    return true;
  }
  return false;
}

EFI_STATUS ListConfigurationTable(const EFI_GUID& guid, const void* table) {
  return BS->InstallConfigurationTable(AsFirmwareGuid(guid), const_cast<void*>(table));
}

}  // namespace platform
