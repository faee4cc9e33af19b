// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "drivers/smbios_entry/acpi.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/byte_fields.h"
#include "platform/configuration_tables.h"
#include "platform/memory.h"
#include "platform/say.h"

namespace smbios_entry {
namespace {

using platform::Colour;
using platform::NumberAt;
using platform::PutNumber;
using platform::Say;
using Table = std::span<const std::uint8_t>;

constexpr EFI_GUID kAcpi10Guid = {0xEB9D2D30, 0x2D88, 0x11D3, {0x9A, 0x16, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};
constexpr EFI_GUID kAcpi20Guid = {0x8868E871, 0xE4F1, 0x11D3, {0xBC, 0x22, 0x00, 0x80, 0xC7, 0x3C, 0x88, 0x81}};

// RSDP (ACPI, "Root System Description Pointer"): the first 20 bytes are those
// of ACPI 1.0 and have a checksum of their own.
constexpr std::string_view kRsdpSignature = "RSD PTR ";
constexpr std::size_t kOldRsdpBytes = 20;
constexpr std::size_t kRsdpBytes = 36;
constexpr std::size_t kRsdpChecksum = 8;
constexpr std::size_t kRsdpOemId = 9;
constexpr std::size_t kRsdpRevision = 15;
constexpr std::size_t kRsdtAddress = 16;
constexpr std::size_t kRsdpLength = 20;
constexpr std::size_t kXsdtAddress = 24;

// Description header.
constexpr std::size_t kTableHeader = 36;
constexpr std::size_t kTableLength = 4;
constexpr std::size_t kTableChecksum = 9;
constexpr std::size_t kTableOemId = 10;
constexpr std::size_t kOemIdBytes = 6;
// No root table comes near this; a larger length is that of a damaged header.
constexpr std::uint64_t kLargestTable = 0x100000;

// Ours: the RSDP, and behind it the RSDT.
constexpr std::size_t kRsdtOffset = 0x20;

const std::uint8_t* Listed(const EFI_GUID& guid) {
  const void* table = nullptr;
  platform::FindConfigurationTable(guid, &table);
  return static_cast<const std::uint8_t*>(table);
}

// Tests take the ACPI 1.0 entry when it is listed, whatever it holds.
const std::uint8_t* RsdpOfTests() {
  const void* table = nullptr;
  return platform::FindConfigurationTable(kAcpi10Guid, &table) ? static_cast<const std::uint8_t*>(table)
                                                               : Listed(kAcpi20Guid);
}

// The table with that signature; empty when it is not there or not sound.
Table TableAt(std::uint64_t address, std::string_view signature) {
  if (address == 0) return {};
  const Table header(platform::PhysicalMemory(address), kTableHeader);
  if (!std::ranges::equal(header.first(signature.size()), signature)) return {};
  const std::uint64_t length = NumberAt(header, kTableLength, 4);
  if (length < kTableHeader || length > kLargestTable) return {};
  const Table table(header.data(), length);
  return platform::ByteSum(table) == 0 ? table : Table{};
}

bool HasRsdt(const std::uint8_t* rsdp) {
  if (rsdp == nullptr || platform::ByteSum({rsdp, kOldRsdpBytes}) != 0) return false;
  return !TableAt(NumberAt({rsdp, kOldRsdpBytes}, kRsdtAddress, 4), "RSDT").empty();
}

Table XsdtOf(const std::uint8_t* rsdp) {
  if (rsdp == nullptr || std::memcmp(rsdp, kRsdpSignature.data(), kRsdpSignature.size()) != 0) return {};
  if (rsdp[kRsdpRevision] < 2 || platform::ByteSum({rsdp, kOldRsdpBytes}) != 0) return {};
  const Table whole(rsdp, kRsdpBytes);
  if (NumberAt(whole, kRsdpLength, 4) != kRsdpBytes || platform::ByteSum(whole) != 0) return {};
  return TableAt(NumberAt(whole, kXsdtAddress, 8), "XSDT");
}

Table FindXsdt() {
  const Table xsdt = XsdtOf(Listed(kAcpi20Guid));
  return xsdt.empty() ? XsdtOf(Listed(kAcpi10Guid)) : xsdt;
}

std::size_t EntriesOf(Table xsdt) { return (xsdt.size() - kTableHeader) / 8; }

// Gives how many entries are listed.
std::size_t WriteRsdt(Table xsdt, std::span<std::uint8_t> rsdt) {
  std::ranges::copy(xsdt.first(kTableHeader), rsdt.begin());
  std::memcpy(rsdt.data(), "RSDT", 4);
  std::size_t length = kTableHeader;
  for (std::size_t i = 0; i < EntriesOf(xsdt); ++i) {
    const std::uint64_t address = NumberAt(xsdt, kTableHeader + 8 * i, 8);
    if (address > UINT32_MAX) continue;
    PutNumber(rsdt, length, 4, address);
    length += 4;
  }
  PutNumber(rsdt, kTableLength, 4, length);
  platform::PutChecksum(rsdt.first(length), kTableChecksum);
  return (length - kTableHeader) / 4;
}

void WriteRsdp(std::span<std::uint8_t> pages) {
  const auto rsdp = pages.first(kOldRsdpBytes);
  const auto rsdt = pages.subspan(kRsdtOffset);
  std::ranges::copy(kRsdpSignature, rsdp.begin());
  std::copy_n(&rsdt[kTableOemId], kOemIdBytes, &rsdp[kRsdpOemId]);
  PutNumber(rsdp, kRsdtAddress, 4, reinterpret_cast<std::uintptr_t>(rsdt.data()));
  platform::PutChecksum(rsdp, kRsdpChecksum);
}

EFI_STATUS Refuse(EFI_STATUS status, const char16_t* reason) {
  Say(Colour::kBad, "ERROR: smbios_entry offers no RSDT: %s\n", reason);
  return status;
}

}  // namespace

EFI_STATUS OfferAcpi(Offer& offer) {
  if (HasRsdt(RsdpOfTests())) return EFI_ALREADY_STARTED;
  const Table xsdt = FindXsdt();
  if (xsdt.empty()) return EFI_ALREADY_STARTED;
  const std::size_t bytes = kRsdtOffset + kTableHeader + 4 * EntriesOf(xsdt);
  EFI_STATUS status = TakePages(offer, bytes, EfiACPIReclaimMemory);
  if (EFI_ERROR(status)) return Refuse(status, u"there is no memory below 4 GiB for it.");
  const std::size_t listed = WriteRsdt(xsdt, offer.pages.subspan(kRsdtOffset));
  WriteRsdp(offer.pages);
  FormatText(offer.record, "ACPI XSDT offered as RSDT");
  status = List(offer, kAcpi10Guid);
  if (EFI_ERROR(status)) return Refuse(status, u"the firmware does not take it into its list.");
  Say(Colour::kNormal, "smbios_entry is loaded. ACPI: the XSDT is offered as RSDT, with %lu of its %lu tables\n",
      listed, EntriesOf(xsdt));
  return status;
}

}  // namespace smbios_entry
