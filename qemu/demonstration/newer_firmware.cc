// Makes OVMF one of today's firmware: no 32-bit SMBIOS entry point, no ACPI 1.0
// table and no RSDT. The 64-bit entry point and the XSDT stay.
#include "platform/byte_fields.h"
#include "platform/configuration_tables.h"
#include "platform/image.h"

namespace {

constexpr EFI_GUID kSmbiosGuid = SMBIOS_TABLE_GUID;
constexpr EFI_GUID kAcpi10Guid = ACPI_TABLE_GUID;
constexpr EFI_GUID kAcpi20Guid = ACPI_20_TABLE_GUID;

// RSDP, see drivers/smbios_entry/acpi.cc.
constexpr std::size_t kRsdpBytes = 36;
constexpr std::size_t kOldRsdpBytes = 20;

EFI_STATUS TakeRsdtAway() {
  const void* listed = nullptr;
  if (!platform::FindConfigurationTable(kAcpi20Guid, &listed)) return EFI_NOT_FOUND;
  const std::span rsdp(static_cast<std::uint8_t*>(const_cast<void*>(listed)), kRsdpBytes);
  platform::PutNumber(rsdp, 16, 4, 0);
  platform::PutChecksum(rsdp.first(kOldRsdpBytes), 8);
  platform::PutChecksum(rsdp, 32);
  return EFI_SUCCESS;
}

}  // namespace

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  platform::InitializeImage(image, system_table);
  platform::ListConfigurationTable(kAcpi10Guid, nullptr);  // there may be none
  const EFI_STATUS status = platform::ListConfigurationTable(kSmbiosGuid, nullptr);
  return EFI_ERROR(status) ? status : TakeRsdtAway();
}
