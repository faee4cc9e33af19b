// Structures of the SMBIOS table and their strings (DSP0134, "Structure
// standards"). Nothing is cached and nothing is written: the table is read
// where the firmware left it.
#pragma once

#include <array>
#include <cstdint>

namespace mfgtest {

// A structure in the table: a 4-byte header, the formatted area that Length
// covers, then the string-set. Fields are read by their standard offset; one
// that lies beyond Length was not there when the firmware's SMBIOS version was
// written and reads as 0.
struct SmbiosStructure {
  const std::uint8_t* bytes = nullptr;

  std::uint8_t Type() const { return bytes[0]; }
  std::uint8_t Length() const { return bytes[1]; }
  std::uint16_t Handle() const;
  std::uint8_t Byte(unsigned offset) const;
};

// The index-th structure (from 0, in table order) of a type. On failure gives
// false, leaves `structure` alone and the reason in the last-error text.
bool GetSmbiosStructure(std::uint8_t type, std::uint8_t index, SmbiosStructure* structure);

// Widens exactly `count` bytes and writes a terminator after them, for which
// `destination` must have room.
void AsciiToUnicode(const char* source, char16_t* destination, std::size_t count);

// The first strings of a structure as text; a longer string is cut.
struct SmbiosStrings {
  static constexpr std::size_t kSlots = 10;
  static constexpr std::size_t kSlotCharacters = 128;

  // The string that a field's string number selects. 0, and a number that was
  // not collected, give an empty string. It may be changed in place.
  char16_t* Numbered(std::uint8_t string_number);

  std::array<std::array<char16_t, kSlotCharacters>, kSlots> slots{};
  std::array<char16_t, 1> none{};
  unsigned count = 0;
};

// Collects at most SmbiosStrings::kSlots strings of a structure.
void CollectStructureStrings(const SmbiosStructure& structure, SmbiosStrings* strings);

}  // namespace mfgtest
