// SPDX-License-Identifier: BSD-2-Clause-Patent
// The SMBIOS 2.x entry point (DSP0134, "SMBIOS 2.1 (32-bit) Entry Point").
#pragma once

#include <cstddef>
#include <cstdint>

namespace mfgtest {

// Used in place, where the firmware left it, at any address.
struct __attribute__((packed)) SmbiosEntryPoint {
  char anchor[4];  // "_SM_"
  std::uint8_t checksum;
  std::uint8_t length;
  std::uint8_t major_version;
  std::uint8_t minor_version;
  std::uint16_t maximum_structure_size;
  std::uint8_t revision;
  std::uint8_t formatted_area[5];
  char intermediate_anchor[5];  // "_DMI_"
  std::uint8_t intermediate_checksum;
  std::uint16_t table_length;
  std::uint32_t table_address;
  std::uint16_t structure_count;
  std::uint8_t bcd_revision;
};

static_assert(offsetof(SmbiosEntryPoint, maximum_structure_size) == 0x08);
static_assert(offsetof(SmbiosEntryPoint, intermediate_anchor) == 0x10);
static_assert(offsetof(SmbiosEntryPoint, table_length) == 0x16);
static_assert(offsetof(SmbiosEntryPoint, table_address) == 0x18);
static_assert(offsetof(SmbiosEntryPoint, structure_count) == 0x1C);
static_assert(sizeof(SmbiosEntryPoint) == 0x1F);

// The entry point that the system's configuration tables list, or null.
const SmbiosEntryPoint* ListedSmbiosEntryPoint();

// The entry point whose anchor is found first in the BIOS segment, or null.
const SmbiosEntryPoint* SearchSmbiosEntryPoint();

// Finds the entry point: in the system's configuration tables, else by its
// anchor in the BIOS segment at 0xF0000. The anchor alone is proof; neither
// the checksums nor the intermediate anchor are looked at. On failure gives
// false and leaves the reason in the last-error text, which also keeps a
// remark when only the memory search found it.
[[nodiscard]] bool GetSmbiosEntryPoint(const SmbiosEntryPoint** entry);

}  // namespace mfgtest
