// The system table's list of configuration tables (SMBIOS, ACPI and others).
#pragma once

#include "platform/efi.h"

namespace platform {

// The table of the first entry with that GUID; an entry may hold a null
// pointer. Gives false when there is no entry.
bool FindConfigurationTable(const EFI_GUID& guid, const void** table);

// Lists a table under that GUID, in place of the one that is listed; null takes
// the entry away.
EFI_STATUS ListConfigurationTable(const EFI_GUID& guid, const void* table);

}  // namespace platform
