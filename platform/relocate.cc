// Moves the image to where the firmware loaded it, in place of gnu-efi's own
// routine: that one needs 24 bytes an address, the table here two bits.
#include <cstdint>
#include <span>

#include "platform/efi.h"

// The linker cannot lay out a table without an entry, so every image has this one.
[[gnu::used, gnu::retain]] static constinit const void* an_address = &an_address;

extern "C" {

// The packed table, by the linker script (generic ABI, section type SHT_RELR):
// an even word is the offset of an address; an odd word is a map of the 63
// words that follow the last one, bit 1 for the first of them.
[[gnu::visibility("hidden")]] extern const std::uint64_t relr_start[];
[[gnu::visibility("hidden")]] extern const std::uint64_t relr_end[];

// Called by gnu-efi's start code before anything that needs an address.
EFI_STATUS _relocate(std::uint64_t base, void*, EFI_HANDLE, EFI_SYSTEM_TABLE*) {
  constexpr unsigned kWordsOfMap = 63;
  auto* next = reinterpret_cast<std::uint64_t*>(base);
  for (const std::uint64_t* word = relr_start; word != relr_end; ++word) {
    if ((*word & 1) == 0) {
      next = reinterpret_cast<std::uint64_t*>(base + *word);
      *next++ += base;
      continue;
    }
    for (unsigned i = 0; i < kWordsOfMap; ++i) {
      if ((*word >> (i + 1) & 1) != 0) next[i] += base;
    }
    next += kWordsOfMap;
  }
  return EFI_SUCCESS;
}

}  // extern "C"
