#include "simulation/acpi_tables.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>
#include <span>

namespace simulation {
namespace {

constexpr EFI_GUID kAcpi10Guid = ACPI_TABLE_GUID;
constexpr EFI_GUID kAcpi20Guid = ACPI_20_TABLE_GUID;

// The first 20 bytes are the RSDP of ACPI 1.0 and have a checksum of their own.
using Rsdp = std::array<std::uint8_t, 36>;
// The header and one entry, of a table that nobody follows.
using Rsdt = std::array<std::uint8_t, 36 + 4>;

void Put(std::span<std::uint8_t> bytes, std::size_t offset, std::uint32_t value) {
  std::memcpy(&bytes[offset], &value, sizeof value);
}

// Makes the bytes sum up to 0, or to 1 when they are not to be sound.
void PutChecksum(std::span<std::uint8_t> bytes, std::size_t offset, bool sound) {
  const int sum = std::accumulate(bytes.begin(), bytes.end(), 0);
  bytes[offset] = static_cast<std::uint8_t>((sound ? 0 : 1) - sum);
}

Rsdt MakeRsdt(const AcpiTables& tables) {
  Rsdt rsdt{};
  std::memcpy(rsdt.data(), tables.signature.data(), 4);
  Put(rsdt, 4, tables.declared_length.value_or(rsdt.size()));
  rsdt[8] = 1;
  std::memcpy(&rsdt[10], "EXAMPL", 6);
  std::memcpy(&rsdt[16], tables.oem_table_id.data(), 8);
  Put(rsdt, 36, 0xDEADBEB7);  // its bytes sum up to 0, so the header alone is sound as well
  PutChecksum(rsdt, 9, tables.sound_rsdt);
  return rsdt;
}

Rsdp MakeRsdp(const AcpiTables& tables, std::uint32_t rsdt) {
  Rsdp rsdp{};
  std::memcpy(rsdp.data(), "RSD PTR \0EXAMPL", 15);
  if (tables.listing == AcpiTables::Listing::kAcpi20) rsdp[15] = 2;
  Put(rsdp, 16, tables.declared_address.value_or(rsdt));
  Put(rsdp, 20, rsdp.size());
  Put(rsdp, 24, 0xDEADBEEF);  // an XSDT that nobody may follow
  PutChecksum(std::span(rsdp).first(20), 8, tables.sound_rsdp);
  PutChecksum(rsdp, 32, true);
  return rsdp;
}

}  // namespace

AcpiDevice::AcpiDevice(Machine& machine, const AcpiTables& tables) {
  const Rsdt rsdt = MakeRsdt(tables);
  std::uint8_t* const place = rsdt_memory_.Data() + rsdt_memory_.Size() - rsdt.size();
  std::ranges::copy(rsdt, place);
  rsdt_memory_.Protect();

  const auto address = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(place));
  std::ranges::copy(MakeRsdp(tables, address), rsdp_memory_.Data());
  rsdp_memory_.Protect();
  const bool is_null = tables.listing == AcpiTables::Listing::kNull;
  machine.AddConfigurationTable(tables.listing == AcpiTables::Listing::kAcpi20 ? kAcpi20Guid : kAcpi10Guid,
                                is_null ? nullptr : rsdp_memory_.Data());
}

}  // namespace simulation
