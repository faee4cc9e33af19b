// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "smbios/acpi_tables.h"

#include <cstring>

#include "platform/byte_fields.h"
#include "platform/configuration_tables.h"
#include "platform/console.h"
#include "platform/memory.h"
#include "report/report.h"
#include "smbios/structures.h"

namespace mfgtest {
namespace {

constexpr EFI_GUID kAcpi10TableGuid = {0xEB9D2D30, 0x2D88, 0x11D3, {0x9A, 0x16, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};
constexpr EFI_GUID kAcpi20TableGuid = {0x8868E871, 0xE4F1, 0x11D3, {0xBC, 0x22, 0x00, 0x80, 0xC7, 0x3C, 0x88, 0x81}};

// RSDP and description header (ACPI, "Root System Description Pointer" and
// "System Description Table Header").
constexpr std::size_t kRsdpBytes = 20;
constexpr std::size_t kRsdtAddress = 16;
constexpr std::size_t kTableLength = 4;
constexpr std::size_t kOemTableId = 16;
constexpr std::size_t kOemTableIdBytes = 8;
constexpr std::uint32_t kTableHeaderBytes = 36;
// No RSDT comes near this; a larger length is that of a damaged header.
constexpr std::uint32_t kLargestRsdt = 0x100000;

// Returns null, with a message, when there is no valid RSDT.
const std::uint8_t* FindRsdt(const std::uint8_t* rsdp) {
  if (rsdp == nullptr) {
    platform::Write(u"Failed because RSDPtr == NULL\r\n");
    return nullptr;
  }
  if (platform::ByteSum({rsdp, kRsdpBytes}) != 0) {
    platform::Write(u"Failed ComputeChecksum on RSDPtr.\r\n");
    return nullptr;
  }
  // Kept: only the RSDT is looked at, never the XSDT.
  const std::uint8_t* const rsdt = platform::PhysicalMemory(platform::LittleEndian32(rsdp + kRsdtAddress));
  if (rsdt == nullptr || std::memcmp(rsdt, "RSDT", 4) != 0) {
    platform::Write(u"Failed because RSDPtr->Header.Signature->HexSignature != ACPI_RSDT_SIG\r\n");
    return nullptr;
  }
  const std::uint32_t length = platform::LittleEndian32(rsdt + kTableLength);
  if (length < kTableHeaderBytes || length > kLargestRsdt || platform::ByteSum({rsdt, length}) != 0) {
    platform::Write(u"Failed ComputeChecksum on RSDTPtr (table ptr)\r\n");
    return nullptr;
  }
  return rsdt;
}

}  // namespace

int FindAcpiOemTableId(OemTableIdText* text) {
  const void* rsdp = nullptr;
  if (!platform::FindConfigurationTable(kAcpi10TableGuid, &rsdp)) {
    report::DebugPrint(kDebugProgress, "AcpiTableGuid not found, finding Acpi20TableGuid...\n");
    if (!platform::FindConfigurationTable(kAcpi20TableGuid, &rsdp)) {
      platform::Write(u"Failed LibGetSystemConfigurationTable()\r\n");
      return 0;
    }
  }
  const std::uint8_t* const rsdt = FindRsdt(static_cast<const std::uint8_t*>(rsdp));
  if (rsdt == nullptr) return 0;
  AsciiToUnicode(reinterpret_cast<const char*>(rsdt + kOemTableId), text->data(), kOemTableIdBytes);
  return 1;
}

}  // namespace mfgtest
