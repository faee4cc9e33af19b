// SPDX-License-Identifier: BSD-2-Clause-Patent
// SMBIOS, ACPI and the event log that SMBIOS leads to.
#include <algorithm>
#include <cstring>

#include "dump/dump.h"
#include "pci/access.h"
#include "platform/bridges.h"
#include "platform/byte_fields.h"
#include "platform/configuration_tables.h"
#include "platform/memory.h"
#include "report/last_error.h"
#include "smbios/firmware_id.h"
#include "smbios/structures.h"

namespace dump {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr EFI_GUID kSmbios64Guid = {0xF2FD1544, 0x9794, 0x4A2C, {0x99, 0x2E, 0xE5, 0xBB, 0xCF, 0x20, 0xE3, 0x94}};
constexpr EFI_GUID kAcpi10Guid = ACPI_TABLE_GUID;
constexpr EFI_GUID kAcpi20Guid = ACPI_20_TABLE_GUID;

// In a file the table follows the entry point, which leads to it.
constexpr std::size_t kTableInFile = 0x20;

// Where the parts of an entry point lie that tell of its table.
struct EntryForm {
  std::size_t bytes;
  std::size_t address;
  std::size_t address_bytes;
  std::size_t checksum;
};
constexpr EntryForm k32Bit = {0x1F, 0x18, 4, 0x15};
constexpr EntryForm k64Bit = {0x18, 0x10, 8, 0x05};
constexpr std::size_t kMaximumLength = 0x0C;
constexpr std::size_t kLargestTable = 256 * 1024;
constexpr std::uint8_t kEndOfTable = 127;

constexpr std::size_t kRsdpBytes = 20;
constexpr std::size_t kRsdp20Bytes = 36;
constexpr std::size_t kHeaderBytes = 36;
constexpr std::size_t kTableLength = 4;
constexpr std::uint32_t kLargestRootTable = 64 * 1024;

constexpr std::uint32_t kLogOfTests = 256;

std::uint64_t NumberAt(const std::uint8_t* bytes, std::size_t size) {
  std::uint64_t number = 0;
  std::memcpy(&number, bytes, size);
  return number;
}

// As dmidecode --dump-bin does it: the sum of the bytes stays what it was.
void LeadToFile(std::span<std::uint8_t> entry, const EntryForm& form) {
  for (std::size_t i = 0; i < form.address_bytes; ++i) {
    std::uint8_t& byte = entry[form.address + i];
    const std::uint8_t now = i == 0 ? std::uint8_t{kTableInFile} : std::uint8_t{0};
    entry[form.checksum] = static_cast<std::uint8_t>(entry[form.checksum] + byte - now);
    byte = now;
  }
}

void WriteSmbios(const std::uint8_t* entry, const EntryForm& form, std::size_t table_bytes) {
  auto& room = the_dump->room;
  const std::uint64_t table = NumberAt(entry + form.address, form.address_bytes);
  table_bytes = std::min(table_bytes, room.size() - kTableInFile);
  std::fill_n(room.begin(), kTableInFile, std::uint8_t{0});
  std::copy_n(entry, form.bytes, room.begin());
  LeadToFile(room, form);
  std::copy_n(platform::PhysicalMemory(table), table_bytes, room.begin() + kTableInFile);
  WritePart(u"smbios.bin", Bytes(room).first(kTableInFile + table_bytes), table);
  AddAddress(the_dump->index, "smbiosEntry", reinterpret_cast<std::uintptr_t>(entry));
}

// A 64-bit entry point states the most that a table may have; it ends with its
// end-of-table structure.
std::size_t UsedBytes(const std::uint8_t* table, std::size_t most) {
  for (std::size_t at = 0; at + 4 <= most;) {
    const bool is_last = table[at] == kEndOfTable;
    at += table[at + 1];
    while (at + 2 <= most && (table[at] != 0 || table[at + 1] != 0)) ++at;
    at += 2;
    if (is_last) return std::min(at, most);
  }
  return most;
}

// A root table, as long as it says it is.
void WriteRootTable(const char16_t* name, std::uint64_t address) {
  if (address == 0) return Miss(name, u"the RSDP leads to none");
  const std::uint8_t* const table = platform::PhysicalMemory(address);
  const std::uint64_t length = NumberAt(table + kTableLength, 4);
  const bool is_sound = length >= kHeaderBytes && length <= kLargestRootTable;
  if (!is_sound) Miss(name, "its length is 0x%lx: only its header is here", length);
  WritePart(name, {table, is_sound ? length : kHeaderBytes}, address);
}

// Whether a bridge of ours offers such tables, beside the firmware's own.
constinit std::u16string_view looked_for;
constinit bool is_offered = false;
bool IsBridged(std::u16string_view what) {
  looked_for = what;
  is_offered = false;
  platform::TellBridges(
      [](const char16_t* text) { is_offered = is_offered || std::u16string_view(text).starts_with(looked_for); });
  return is_offered;
}

}  // namespace

void DumpSmbios() {
  const mfgtest::SmbiosEntryPoint* entry = nullptr;
  if (!IsBridged(u"SMBIOS") && mfgtest::GetSmbiosEntryPoint(&entry)) {
    return WriteSmbios(reinterpret_cast<const std::uint8_t*>(entry), k32Bit, entry->table_length);
  }
  const void* listed = nullptr;
  if (!platform::FindConfigurationTable(kSmbios64Guid, &listed) || listed == nullptr) {
    return Miss(u"smbios.bin", mfgtest::LastError());
  }
  const auto* const entry64 = static_cast<const std::uint8_t*>(listed);
  const std::size_t most = std::min<std::size_t>(NumberAt(entry64 + kMaximumLength, 4), kLargestTable);
  const std::uint8_t* const table = platform::PhysicalMemory(NumberAt(entry64 + k64Bit.address, 8));
  WriteSmbios(entry64, k64Bit, UsedBytes(table, most));
}

void DumpAcpi() {
  const void* listed = nullptr;
  // The one that the tests take where both are listed.
  const bool is_10 = !IsBridged(u"ACPI") && platform::FindConfigurationTable(kAcpi10Guid, &listed);
  if (!is_10 && !platform::FindConfigurationTable(kAcpi20Guid, &listed)) {
    return Miss(u"rsdp.bin", u"the firmware lists no ACPI tables");
  }
  const auto* const rsdp = static_cast<const std::uint8_t*>(listed);
  if (rsdp == nullptr) return Miss(u"rsdp.bin", u"the firmware lists no address of it");
  const bool has_xsdt = rsdp[15] >= 2;
  AddAscii(the_dump->index, "acpi", is_10 ? "1.0" : "2.0");
  WritePart(u"rsdp.bin", {rsdp, has_xsdt ? kRsdp20Bytes : kRsdpBytes}, reinterpret_cast<std::uintptr_t>(rsdp));
  if (platform::ByteSum({rsdp, kRsdpBytes}) != 0) {
    return Miss(u"rsdt.bin", u"the RSDP's checksum is wrong, so what it leads to was not read");
  }
  WriteRootTable(u"rsdt.bin", NumberAt(rsdp + 16, 4));
  if (has_xsdt) WriteRootTable(u"xsdt.bin", NumberAt(rsdp + 24, 8));
}

void DumpEventLog() {
  mfgtest::SmbiosStructure log;
  if (!mfgtest::GetSmbiosStructure(15, 0, &log)) return Miss(u"eventlog.bin", mfgtest::LastError());
  auto& room = the_dump->room;
  const std::uint32_t base = log.Dword(0x10);
  const std::uint32_t length = std::max<std::uint32_t>(log.Word(0x04), kLogOfTests);
  std::uint32_t read = 0;
  while (read < length && mfgtest::MemReadByte(base, read, &room[read])) ++read;
  if (read < length) Miss(u"eventlog.bin", "of %u bytes at 0x%x, %u could be read", length, base, read);
  if (read > 0) WritePart(u"eventlog.bin", Bytes(room).first(read), base);
}

}  // namespace dump
