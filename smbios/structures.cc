// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "smbios/structures.h"

#include <algorithm>
#include <cstring>

#include "platform/byte_fields.h"
#include "platform/memory.h"
#include "report/last_error.h"
#include "report/report.h"

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

// Steps over the structure at an offset; false when it does not end in the table.
bool StepOver(const std::uint8_t* table, std::uint32_t end, std::uint32_t* offset) {
  if (*offset + 2 > end) return false;
  *offset += SmbiosStructure{table + *offset}.Length();
  for (; *offset + 2 <= end; ++*offset) {
    if (table[*offset] != 0 || table[*offset + 1] != 0) continue;
    *offset += 2;
    return true;
  }
  return false;
}

// The strings of a structure one after another, up to the empty one that ends
// the string-set.
struct StringCursor {
  explicit StringCursor(const SmbiosStructure& structure)
      : text(reinterpret_cast<const char*>(structure.bytes + structure.Length())), length(std::strlen(text)) {}

  bool AtEnd() const { return length == 0; }
  void Step() {
    text += length + 1;
    length = std::strlen(text);
  }
  void CopyTo(SmbiosString& slot) const {
    AsciiToUnicode(text, slot.data(), std::min(length, kSmbiosStringCharacters - 1));
  }

  const char* text;
  std::size_t length;
};

}  // namespace

std::uint16_t SmbiosStructure::Word(unsigned offset) const {
  if (offset + 2 > Length()) return 0;
  return platform::LittleEndian16(bytes + offset);
}

std::uint32_t SmbiosStructure::Dword(unsigned offset) const {
  if (offset + 4 > Length()) return 0;
  return platform::LittleEndian32(bytes + offset);
}

SmbiosWalk::SmbiosWalk(const SmbiosEntryPoint& of_entry)
    : entry(of_entry), current{platform::PhysicalMemory(of_entry.table_address)} {}

bool SmbiosWalk::AtEnd() const {
  if (counter >= entry.structure_count) return true;
  return wrapped && current.bytes >= platform::PhysicalMemory(entry.table_address) + entry.table_length;
}

void SmbiosWalk::Step() {
  current.bytes = NextStructure(current.bytes);
  if (++counter == 0) wrapped = true;
}

bool GetSmbiosStructure(std::uint8_t type, std::uint8_t index, SmbiosStructure* structure) {
  const SmbiosEntryPoint* entry = nullptr;
  if (!GetSmbiosEntryPoint(&entry)) {
    const EarlierLastError earlier;
    SetLastError("\nFailed to get SMBIOS Table Entry Point.\n%s", earlier.Text());
    return false;
  }
  std::uint8_t matches = 0;
  for (SmbiosWalk walk(*entry); !walk.AtEnd(); walk.Step()) {
    if (walk.IsNull()) {
      SetLastError("\nStructure Table Address is NULL.\n");
      return false;
    }
    if (walk.current.Type() == type && matches++ == index) {
      *structure = walk.current;
      return true;
    }
  }
  SetLastError("No Structure Type %d, Index %d, found.\n", type, index);
  return false;
}

bool FindStructureInLength(const SmbiosEntryPoint& entry, std::uint8_t type, SmbiosStructure* found) {
  const std::uint8_t* const table = platform::PhysicalMemory(entry.table_address);
  const std::uint32_t end = entry.table_length;
  std::uint32_t offset = 0;
  while (table != nullptr && offset < end) {
    const SmbiosStructure structure{table + offset};
    if (structure.Type() == type) {
      *found = structure;
      return true;
    }
    if (!StepOver(table, end, &offset)) return false;
  }
  return false;
}

void ShowStructureHeader(const SmbiosStructure& structure) {
  report::DebugPrint(kDebugProgress, "\nStructure Header:");
  report::DebugPrint(kDebugProgress, "\nType: 0x%x   ", structure.Type());
  report::DebugPrint(kDebugProgress, "Len: 0x%x   ", structure.Length());
  report::DebugPrint(kDebugProgress, "Handle: 0x%x", structure.Handle());
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

unsigned CountStructureStrings(const SmbiosStructure& structure) {
  unsigned count = 0;
  for (StringCursor cursor(structure); !cursor.AtEnd(); cursor.Step()) ++count;
  return count;
}

SmbiosString StructureString(const SmbiosStructure& structure, unsigned string_number) {
  SmbiosString text{};
  if (string_number == 0) return text;
  unsigned number = 1;
  for (StringCursor cursor(structure); !cursor.AtEnd(); cursor.Step(), ++number) {
    if (number != string_number) continue;
    cursor.CopyTo(text);
    break;
  }
  return text;
}

void CollectStructureStrings(const SmbiosStructure& structure, SmbiosStrings* strings) {
  *strings = {};
  for (StringCursor cursor(structure); !cursor.AtEnd() && strings->count < SmbiosStrings::kSlots; cursor.Step()) {
    cursor.CopyTo(strings->slots[strings->count++]);
  }
}

}  // namespace mfgtest
