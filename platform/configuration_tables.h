// The system table's list of configuration tables (SMBIOS, ACPI and others).
#pragma once

#include "platform/efi.h"

namespace platform {

// The table of the first entry with that GUID, or null.
const void* FindConfigurationTable(const EFI_GUID& table);

}  // namespace platform
