// SPDX-License-Identifier: BSD-2-Clause-Patent
// The firmware's SMBIOS table (DSP0134) as drivers and library read it: within the
// size that its entry point states, whatever stands in it.
#pragma once

#include <span>

#include "platform/efi.h"

namespace platform {

inline constexpr EFI_GUID kSmbiosEntryPoint32Guid = {
    0xEB9D2D31, 0x2D88, 0x11D3, {0x9A, 0x16, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};
inline constexpr EFI_GUID kSmbiosEntryPoint64Guid = {
    0xF2FD1544, 0x9794, 0x4A2C, {0x99, 0x2E, 0xE5, 0xBB, 0xCF, 0x20, 0xE3, 0x94}};

struct SmbiosEntryPoint {
  std::uint8_t major_version = 0;
  std::uint8_t minor_version = 0;
  bool is_sound = false;  // its length and checksum
  // A 64-bit entry point tells only how large the table is at most.
  std::span<const std::uint8_t> table{};
};

// The entry point that the configuration tables list under that GUID. False
// when there is none with the right anchor and an address.
bool FindSmbiosEntryPoint(const EFI_GUID& guid, SmbiosEntryPoint* entry);

inline constexpr std::uint8_t kEndOfSmbiosTable = 127;  // a structure's type

struct SmbiosStructure {
  std::span<const std::uint8_t> formatted{};
  std::span<const std::uint8_t> whole{};  // with its strings
  bool is_sound = false;                  // the strings end where they should

  std::uint8_t Type() const { return formatted[0]; }
};

// The structure at the front. Its formatted area is empty when none can be
// there; where the strings do not end the structure goes as far as they do.
SmbiosStructure FirstSmbiosStructure(std::span<const std::uint8_t> table);

}  // namespace platform
