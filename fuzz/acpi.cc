// SPDX-License-Identifier: BSD-2-Clause-Patent
// The ACPI root pointer, the table behind it and their checksums.
#include <numeric>

#include "fuzz/changes.h"
#include "fuzz/targets.h"

namespace fuzz {
namespace {

constexpr EFI_GUID kAcpi10Guid = ACPI_TABLE_GUID;
constexpr EFI_GUID kAcpi20Guid = ACPI_20_TABLE_GUID;

// What every table has at the least.
constexpr std::size_t kTableHeader = 36;
constexpr std::size_t kOldRsdp = 20;
// The longest table that is summed up.
constexpr std::size_t kReachOfTheSum = 0x100000;

enum AcpiWay : std::uint8_t {
  kFalseRsdpSum = 1,
  kFalseRsdtSum = 2,
  kFalseLength = 4,
  kNoRsdt = 8,
  kNoRsdp = 16,
  kOldListing = 32,  // besides the ACPI 2.0 one, and read first
  kNotListed = 64,
};

void Seal(Bytes& bytes, std::size_t checksum, std::size_t length) {
  bytes[checksum] = 0;
  const auto end = bytes.begin() + static_cast<std::ptrdiff_t>(length);
  bytes[checksum] = static_cast<std::uint8_t>(-std::accumulate(bytes.begin(), end, 0));
}

void List(simulation::Machine& machine, bool old, bool listed, std::uint8_t* rsdp) {
  if (old) return machine.AddConfigurationTable(kAcpi10Guid, rsdp);
  for (UINTN i = 0; i < machine.system_table.NumberOfTableEntries; ++i) {
    EFI_CONFIGURATION_TABLE& entry = machine.system_table.ConfigurationTable[i];
    if (!SameGuid(entry.VendorGuid, kAcpi20Guid)) continue;
    entry.VendorTable = rsdp;
    if (!listed) entry.VendorGuid = {};
  }
}

}  // namespace

void ChangeAcpi(Input& input, HostileServer& server) {
  const std::uint8_t way = input.Byte();
  const std::uint32_t length = input.Word() | input.Word() << 16;
  Bytes rsdp(kTableHeader, 0);
  std::copy_n("RSD PTR ", 8, rsdp.begin());
  const std::size_t rsdp_bytes = (way & kOldListing) != 0 ? kOldRsdp : kTableHeader;
  rsdp.resize(rsdp_bytes);
  Bytes rsdt(kTableHeader, 0x20);
  std::copy_n("RSDT", 4, rsdt.begin());
  const Bytes content = input.Rest();
  rsdt.resize(std::max(kTableHeader, content.size()));
  std::ranges::copy(content, rsdt.begin());
  // The signature comes whole, or not.
  if (!content.empty() && content[0] == 0) std::copy_n("RSDT", 4, rsdt.begin());

  Put(rsdt, 4, (way & kFalseLength) != 0 ? length : rsdt.size(), 4);
  if ((way & kFalseRsdtSum) == 0) Seal(rsdt, 9, rsdt.size());
  const Placed& placed_rsdt = server.memory.emplace_back(rsdt, (way & kFalseLength) != 0 ? kReachOfTheSum : 0);
  Put(rsdp, 16, (way & kNoRsdt) != 0 ? 0 : placed_rsdt.Address(), 4);
  if ((way & kFalseRsdpSum) == 0) Seal(rsdp, 8, kOldRsdp);
  const Placed& placed_rsdp = server.memory.emplace_back(rsdp);
  List(server.station.machine, (way & kOldListing) != 0, (way & kNotListed) == 0,
       (way & kNoRsdp) != 0 ? nullptr : placed_rsdp.Data());
}

void FuzzAcpi(Input input) { RunChanged(input, {35, 0}, ChangeAcpi); }

}  // namespace fuzz
