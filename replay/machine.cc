// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "replay/machine.h"

#include <algorithm>
#include <ctime>

namespace replay {
namespace {

using simulation::Misbehaviour;

constexpr EFI_GUID kSmbiosGuid = SMBIOS_TABLE_GUID;
constexpr EFI_GUID kSmbios64Guid = SMBIOS3_TABLE_GUID;
constexpr EFI_GUID kAcpi10Guid = ACPI_TABLE_GUID;
constexpr EFI_GUID kAcpi20Guid = ACPI_20_TABLE_GUID;

constexpr std::uint64_t kMostSteps = 100'000'000;

// Behind the table: the end of a string-set, then end-of-table structures, so
// that a walk which goes by a wrong count ends there and finds nothing.
constexpr std::size_t kBehindTable = 2 * EFI_PAGE_SIZE;
constexpr std::array<std::uint8_t, 6> kEndOfTable = {127, 4, 0xFF, 0xFE, 0, 0};

Bytes WithEndBehind(Bytes table) {
  const std::size_t end = table.size() + kBehindTable;
  table.insert(table.end(), 2, 0);
  while (table.size() + kEndOfTable.size() < end) table.insert(table.end(), kEndOfTable.begin(), kEndOfTable.end());
  table.resize(end);
  return table;
}

EFI_TIME HostTime() {
  const std::time_t now = std::time(nullptr);
  const std::tm* const utc = std::gmtime(&now);
  EFI_TIME time{};
  time.Year = static_cast<UINT16>(utc->tm_year + 1900);
  time.Month = static_cast<UINT8>(utc->tm_mon + 1);
  time.Day = static_cast<UINT8>(utc->tm_mday);
  time.Hour = static_cast<UINT8>(utc->tm_hour);
  time.Minute = static_cast<UINT8>(utc->tm_min);
  time.Second = static_cast<UINT8>(utc->tm_sec);
  return time;
}

void* Pointer(std::uint64_t address) { return reinterpret_cast<void*>(address); }

}  // namespace

ReplayedMachine::ReplayedMachine(const MachineData& data) {
  machine.most_steps = kMostSteps;
  machine.time = data.time ? *data.time : HostTime();
  machine.variables.variables = data.variables;
  if (data.smbios) AddSmbios(*data.smbios);
  if (data.acpi) AddAcpi(*data.acpi);
  tables.Protect();
  if (data.controller) AddController(*data.controller);
  for (const NetworkData& network : data.networks) {
    networks.emplace_back(machine, network.mac).start_status = network.start_status;
  }
  if (data.pci || data.event_log) AddPci(data);
  has_newer_tables_only = (data.smbios && data.smbios->Is64Bit()) || (data.acpi && !data.acpi->rsdt && data.acpi->xsdt);
  if (data.flash) flash.emplace(machine, static_cast<std::uint32_t>(*data.flash->address), data.flash->bytes);
  if (data.stored_guid) guid_store.emplace(machine).guid = *data.stored_guid;
}

void ReplayedMachine::AddSmbios(const SmbiosData& smbios) {
  const std::uint64_t table = tables.Put(WithEndBehind(smbios.table.bytes), smbios.table.address);
  Bytes entry = smbios.entry.bytes;
  PutTableAddress(entry, table);
  machine.AddConfigurationTable(smbios.Is64Bit() ? kSmbios64Guid : kSmbiosGuid,
                                Pointer(tables.Put(entry, smbios.entry.address)));
}

void ReplayedMachine::AddAcpi(const AcpiData& acpi) {
  const std::uint64_t rsdp = tables.Put(acpi.rsdp.bytes, acpi.rsdp.address);
  if (acpi.rsdt) tables.Put(acpi.rsdt->bytes, acpi.rsdt->address);
  if (acpi.xsdt) tables.Put(acpi.xsdt->bytes, acpi.xsdt->address);
  machine.AddConfigurationTable(acpi.is_listed_as_20 ? kAcpi20Guid : kAcpi10Guid, Pointer(rsdp));
}

void ReplayedMachine::AddController(const ControllerData& data) {
  controller.frus = data.frus;
  const auto answer = [&](Bytes request, const Bytes& completion_code_and_data) {
    if (completion_code_and_data.empty()) return;
    controller.script.push_back(
        {.kind = Misbehaviour::Kind::kAnswer, .request = std::move(request), .arguments = completion_code_and_data});
  };
  if (data.device_id) answer({0x06, 0x01}, *data.device_id);
  if (data.oem_answer) answer({0x30, 0x93}, *data.oem_answer);
  for (const FruRefusal& refusal : data.refusals) {
    Misbehaviour one{
        .kind = Misbehaviour::Kind::kSilence, .address = refusal.address, .request = {0x0A, 0x11, refusal.id}};
    if (refusal.completion_code) {
      one.kind = Misbehaviour::Kind::kAnswer;
      one.arguments = {*refusal.completion_code};
    }
    controller.script.push_back(one);
  }
  ipmi.emplace(machine, controller);
}

void ReplayedMachine::AddPci(const MachineData& data) {
  root_bridge.emplace(machine);
  if (data.pci) {
    root_bridge->headers.insert(data.pci->headers.begin(), data.pci->headers.end());
    for (const auto& [address, value] : data.pci->registers) root_bridge->AddRegister(address, value);
  }
  if (!data.event_log) return;
  std::uint64_t address = data.event_log->address.value_or(0);
  for (const std::uint8_t byte : data.event_log->bytes) root_bridge->memory[address++] = byte;
}

}  // namespace replay
