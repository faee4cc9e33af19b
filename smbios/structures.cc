#include "smbios/structures.h"

#include <algorithm>
#include <cstring>

#include "module/last_error.h"
#include "platform/memory.h"
#include "smbios/entry_point.h"

namespace mfgtest {
namespace {

// Steps over the formatted area and the string-set. An empty string-set is two
// terminators, so its first empty string ends it as any other one does.
const std::uint8_t* NextStructure(const std::uint8_t* structure) {
  const char* cursor = reinterpret_cast<const char*>(structure + structure[1]);
  std::size_t length = std::strlen(cursor);
  do {
    cursor += length + 1;
    length = std::strlen(cursor);
  } while (length != 0);
  return reinterpret_cast<const std::uint8_t*>(cursor + 1);
}

// The walk over the table. The counter has 8 bits, so a table of 256 or more
// structures is not bounded by its count; such tables exist, and for them the
// table's length becomes the bound.
struct TableWalk {
  const SmbiosEntryPoint* entry;
  const std::uint8_t* table = platform::PhysicalMemory(entry->table_address);
  const std::uint8_t* cursor = table;
  std::uint8_t counter = 0;
  bool wrapped = false;

  bool AtEnd() const {
    if (counter >= entry->structure_count) return true;
    return wrapped && cursor >= table + entry->table_length;
  }

  void Step() {
    cursor = NextStructure(cursor);
    if (++counter == 0) wrapped = true;
  }
};

}  // namespace

std::uint16_t SmbiosStructure::Handle() const { return static_cast<std::uint16_t>(Byte(2) | Byte(3) << 8); }

std::uint8_t SmbiosStructure::Byte(unsigned offset) const { return offset < Length() ? bytes[offset] : 0; }

bool GetSmbiosStructure(std::uint8_t type, std::uint8_t index, SmbiosStructure* structure) {
  const SmbiosEntryPoint* entry = nullptr;
  if (!GetSmbiosEntryPoint(&entry)) {
    const EarlierLastError earlier;
    SetLastError(u"\nFailed to get SMBIOS Table Entry Point.\n%s", earlier.text.data());
    return false;
  }
  std::uint8_t matches = 0;
  for (TableWalk walk{entry}; !walk.AtEnd(); walk.Step()) {
    if (walk.cursor == nullptr) {
      SetLastError(u"\nStructure Table Address is NULL.\n");
      return false;
    }
    if (walk.cursor[0] == type && matches++ == index) {
      structure->bytes = walk.cursor;
      return true;
    }
  }
  SetLastError(u"No Structure Type %d, Index %d, found.\n", type, index);
  return false;
}

void AsciiToUnicode(const char* source, char16_t* destination, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) destination[i] = static_cast<std::uint8_t>(source[i]);
  destination[count] = 0;
}

char16_t* SmbiosStrings::Numbered(std::uint8_t string_number) {
  // Number 0 becomes slot 255, which is as absent as any other beyond the last.
  const auto slot = static_cast<std::uint8_t>(string_number - 1);
  return slot < kSlots ? slots[slot].data() : none.data();
}

void CollectStructureStrings(const SmbiosStructure& structure, SmbiosStrings* strings) {
  *strings = {};
  const char* cursor = reinterpret_cast<const char*>(structure.bytes + structure.Length());
  while (strings->count < SmbiosStrings::kSlots) {
    const std::size_t length = std::strlen(cursor);
    if (length == 0) return;
    AsciiToUnicode(cursor, strings->slots[strings->count++].data(),
                   std::min(length, SmbiosStrings::kSlotCharacters - 1));
    cursor += length + 1;
  }
}

}  // namespace mfgtest
