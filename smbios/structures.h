// SPDX-License-Identifier: BSD-2-Clause-Patent
// Structures of the SMBIOS table and their strings (DSP0134, "Structure
// standards"). Nothing is cached and nothing is written: the table is read
// where the firmware left it.
#pragma once

#include <array>
#include <cstdint>

#include "smbios/entry_point.h"

namespace mfgtest {

// A structure in the table: a 4-byte header, the formatted area that Length
// covers, then the string-set. Fields are read by their standard offset; one
// that lies beyond Length was not there when the firmware's SMBIOS version was
// written and reads as 0.
struct SmbiosStructure {
  const std::uint8_t* bytes = nullptr;

  std::uint8_t Type() const { return bytes[0]; }
  std::uint8_t Length() const { return bytes[1]; }
  std::uint16_t Handle() const { return Word(2); }
  std::uint8_t Byte(unsigned offset) const { return offset < Length() ? bytes[offset] : std::uint8_t{0}; }
  std::uint16_t Word(unsigned offset) const;   // little-endian
  std::uint32_t Dword(unsigned offset) const;  // little-endian
};

// The walk over the table, structure by structure. Its counter has 8 bits, so
// a table of 256 or more structures is not bounded by its count; such tables
// exist, and for them the table's length becomes the bound.
struct SmbiosWalk {
  explicit SmbiosWalk(const SmbiosEntryPoint& entry);

  bool AtEnd() const;
  bool IsNull() const { return current.bytes == nullptr; }
  void Step();

  const SmbiosEntryPoint& entry;
  SmbiosStructure current;
  std::uint8_t counter = 0;
  bool wrapped = false;
};

// The index-th structure (from 0, in table order) of a type. On failure gives
// false, leaves `structure` alone and the reason in the last-error text.
[[nodiscard]] bool GetSmbiosStructure(std::uint8_t type, std::uint8_t index, SmbiosStructure* structure);

// The first structure of a type that starts in the table, by another walk: the
// table ends where its length says, whatever the count of structures. Only what
// lies before the structure has to end in the table.
[[nodiscard]] bool FindStructureInLength(const SmbiosEntryPoint& entry, std::uint8_t type, SmbiosStructure* found);

// Prints the header as debug messages of ordinary progress.
void ShowStructureHeader(const SmbiosStructure& structure);

// Widens exactly `count` bytes and writes a terminator after them, for which
// `destination` must have room.
void AsciiToUnicode(const char* source, char16_t* destination, std::size_t count);

// Room for a string as text; a longer string is cut.
inline constexpr std::size_t kSmbiosStringCharacters = 128;
using SmbiosString = std::array<char16_t, kSmbiosStringCharacters>;

// How many strings a structure has, and one of them by its number. Number 0,
// and one beyond the last, give an empty string.
unsigned CountStructureStrings(const SmbiosStructure& structure);
SmbiosString StructureString(const SmbiosStructure& structure, unsigned string_number);

// The first strings of a structure as text.
struct SmbiosStrings {
  static constexpr std::size_t kSlots = 10;

  // The string that a field's string number selects. 0, and a number that was
  // not collected, give an empty string. It may be changed in place.
  char16_t* Numbered(std::uint8_t string_number);

  std::array<SmbiosString, kSlots> slots{};
  std::array<char16_t, 1> none{};
  unsigned count = 0;
};

// Collects at most SmbiosStrings::kSlots strings of a structure.
void CollectStructureStrings(const SmbiosStructure& structure, SmbiosStrings* strings);

}  // namespace mfgtest
