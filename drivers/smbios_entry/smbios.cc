// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "drivers/smbios_entry/smbios.h"

#include <algorithm>
#include <bitset>
#include <cstring>
#include <iterator>

#include "platform/byte_fields.h"
#include "platform/configuration_tables.h"
#include "platform/say.h"
#include "platform/smbios_table.h"

namespace smbios_entry {
namespace {

using platform::Colour;
using platform::PutNumber;
using platform::Say;
using platform::SmbiosEntryPoint;
using platform::SmbiosStructure;
using Table = std::span<const std::uint8_t>;

// The entry point's fields.
constexpr std::size_t kEntryPointBytes = 0x1F;
constexpr std::size_t kChecksum = 0x04;
constexpr std::size_t kEntryPointLength = 0x05;
constexpr std::size_t kVersion = 0x06;
constexpr std::size_t kLargestStructure = 0x08;
constexpr std::size_t kIntermediate = 0x10;
constexpr std::size_t kIntermediateChecksum = 0x15;
constexpr std::size_t kTableLength = 0x16;
constexpr std::size_t kTableAddress = 0x18;
constexpr std::size_t kStructureCount = 0x1C;
constexpr std::size_t kBcdRevision = 0x1E;

// The copy lies behind the entry point, on a paragraph.
constexpr std::size_t kCopyOffset = 0x20;

// What is left of what a 32-bit entry point can tell: the length has 16 bits,
// and walks count structures in 8.
struct Room {
  bool Take(std::size_t size) {
    if (size > bytes || structures == 0) return false;
    bytes -= size;
    --structures;
    return true;
  }
  std::size_t bytes = 0xFFFF;
  unsigned structures = 0xFF;
};

// Who comes first when not everything fits: what tests read, the structures of
// which there is one before the many.
constexpr std::size_t kRanks = 3;
std::size_t RankOf(const SmbiosStructure& structure) {
  constexpr std::uint8_t kReadFirst[] = {0, 1, 2, 3, 11, 15, 38, platform::kEndOfSmbiosTable};
  constexpr std::uint8_t kMemory[] = {16, 17};
  if (std::ranges::count(kReadFirst, structure.Type()) != 0) return 0;
  return std::ranges::count(kMemory, structure.Type()) != 0 ? 1 : 2;
}

// Where a walk ended, and whether at an end-of-table structure.
struct WalkEnd {
  std::size_t offset;
  bool is_sound;
};

template <class Visit>
WalkEnd Walk(Table table, Visit visit) {
  std::size_t offset = 0;
  for (;;) {
    const SmbiosStructure structure = platform::FirstSmbiosStructure(table.subspan(offset));
    if (!structure.is_sound) return {offset, false};
    visit(structure);
    offset += structure.whole.size();
    if (structure.Type() == platform::kEndOfSmbiosTable) return {offset, true};
  }
}

// The room of each rank: what those before it leave.
std::array<Room, kRanks> DivideRoom(Table table) {
  std::array<Room, kRanks> rooms;
  Room left;
  for (std::size_t rank = 0; rank < kRanks; ++rank) {
    rooms[rank] = left;
    Walk(table, [&](const SmbiosStructure& structure) {
      if (RankOf(structure) == rank) left.Take(structure.whole.size());
    });
  }
  return rooms;
}

struct Copy {
  std::size_t bytes = 0;
  std::uint32_t structures = 0;
  std::size_t largest = 0;
  std::uint32_t left_out = 0;
  std::bitset<256> types_left_out{};
  WalkEnd end{};
};

Copy CopyStructures(Table table, std::span<std::uint8_t> to) {
  Copy copy;
  std::array<Room, kRanks> rooms = DivideRoom(table);
  copy.end = Walk(table, [&](const SmbiosStructure& structure) {
    const Table whole = structure.whole;
    // Firmware may write on while it is read.
    const bool fits = rooms[RankOf(structure)].Take(whole.size()) && whole.size() <= to.size() - copy.bytes;
    if (!fits) {
      ++copy.left_out;
      copy.types_left_out[structure.Type()] = true;
      return;
    }
    std::memcpy(&to[copy.bytes], whole.data(), whole.size());
    copy.bytes += whole.size();
    ++copy.structures;
    copy.largest = std::max(copy.largest, whole.size());
  });
  return copy;
}

void WriteEntryPoint(const SmbiosEntryPoint& newer, const Copy& copy, std::span<std::uint8_t> pages) {
  const auto entry = pages.first(kEntryPointBytes);
  std::memcpy(entry.data(), "_SM_", 4);
  std::memcpy(&entry[kIntermediate], "_DMI_", 5);
  entry[kEntryPointLength] = kEntryPointBytes;
  entry[kVersion] = newer.major_version;
  entry[kVersion + 1] = newer.minor_version;
  PutNumber(entry, kLargestStructure, 2, copy.largest);
  PutNumber(entry, kTableLength, 2, copy.bytes);
  PutNumber(entry, kTableAddress, 4, reinterpret_cast<std::uintptr_t>(&pages[kCopyOffset]));
  PutNumber(entry, kStructureCount, 2, copy.structures);
  // Left at 0, which says that the version above is all there is to say, where it
  // has no digits.
  if (newer.major_version <= 9 && newer.minor_version <= 9) {
    PutNumber(entry, kBcdRevision, 1, newer.major_version * 0x10u + newer.minor_version);
  }
  platform::PutChecksum(entry.subspan(kIntermediate), kIntermediateChecksum - kIntermediate);
  platform::PutChecksum(entry, kChecksum);
}

// "4, 7, 41", as far as there is room.
std::array<char16_t, 128> ListOfTypes(const std::bitset<256>& types) {
  std::array<char16_t, 128> list{};
  std::size_t length = 0;
  for (std::uint32_t type = 0; type < types.size(); ++type) {
    if (types[type]) length += FormatText(std::span(list).subspan(length), "%s%u", length == 0 ? u"" : u", ", type);
  }
  return list;
}

void SayCopy(const SmbiosEntryPoint& newer, const Copy& copy, Table table) {
  Say(Colour::kNormal,
      "smbios_entry is loaded. SMBIOS %u.%u: %u structures of %lu bytes are offered with a 32-bit entry point\n",
      newer.major_version, newer.minor_version, copy.structures, copy.bytes);
  if (copy.left_out > 0) {
    Say(Colour::kNotice, "%u structures do not fit a 32-bit entry point and are left out, of the types %s\n",
        copy.left_out, ListOfTypes(copy.types_left_out).data());
  }
  if (!copy.end.is_sound) {
    Say(Colour::kNotice, "The firmware's SMBIOS table is damaged: it breaks off at byte %lu of at most %lu.\n",
        copy.end.offset, table.size());
  }
}

void WriteRecord(const SmbiosEntryPoint& newer, const Copy& copy, Offer& offer) {
  if (copy.left_out == 0 && copy.end.is_sound) {
    FormatText(offer.record, "SMBIOS %u.%u 64-bit entry point offered as a 32-bit one", newer.major_version,
               newer.minor_version);
  } else {
    FormatText(offer.record, "SMBIOS %u.%u 64-bit entry point offered as a 32-bit one, %u structures left out%s",
               newer.major_version, newer.minor_version, copy.left_out, copy.end.is_sound ? u"" : u", table damaged");
  }
}

bool HasEntryPoint32() {
  const void* listed = nullptr;
  return platform::FindConfigurationTable(platform::kSmbiosEntryPoint32Guid, &listed) && listed != nullptr;
}

EFI_STATUS Refuse(EFI_STATUS status, const char16_t* reason) {
  Say(Colour::kBad, "ERROR: smbios_entry offers no 32-bit SMBIOS entry point: %s\n", reason);
  return status;
}

}  // namespace

EFI_STATUS OfferSmbios(Offer& offer) {
  SmbiosEntryPoint newer;
  if (HasEntryPoint32()) return EFI_ALREADY_STARTED;
  if (!platform::FindSmbiosEntryPoint(platform::kSmbiosEntryPoint64Guid, &newer)) return EFI_ALREADY_STARTED;
  if (!newer.is_sound) return Refuse(EFI_COMPROMISED_DATA, u"the length or checksum of the 64-bit one is wrong.");

  EFI_STATUS status = TakePages(offer, kCopyOffset + Room{}.bytes, EfiRuntimeServicesData);
  if (EFI_ERROR(status)) return Refuse(status, u"there is no memory below 4 GiB for a copy.");
  const Copy copy = CopyStructures(newer.table, offer.pages.subspan(kCopyOffset));
  WriteEntryPoint(newer, copy, offer.pages);
  WriteRecord(newer, copy, offer);
  status = List(offer, platform::kSmbiosEntryPoint32Guid);
  if (EFI_ERROR(status)) return Refuse(status, u"the firmware does not take it into its list.");
  SayCopy(newer, copy, newer.table);
  return status;
}

}  // namespace smbios_entry
