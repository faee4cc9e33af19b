// The machine's SMBIOS table (DSP0134) and its 32-bit entry point.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulation/machine.h"

namespace simulation {

// A table in the making: its bytes and how many structures they hold.
struct SmbiosTable {
  // `fields` are the formatted area behind the 4-byte header.
  SmbiosTable& Add(std::uint8_t type, std::uint16_t handle, const std::vector<std::uint8_t>& fields,
                   const std::vector<std::string>& strings = {});

  std::vector<std::uint8_t> bytes;
  std::uint16_t count = 0;
};

// Where the machine shows its table, and what the entry point says of it where
// that is not the truth.
struct SmbiosPlacement {
  enum class Entry { kListed, kListedFor64Bits, kInBiosSegment, kNowhere };
  Entry entry = Entry::kListed;
  std::uint32_t segment_offset = 0;
  std::optional<std::uint16_t> declared_count{};
  std::optional<std::uint16_t> declared_length{};
  std::optional<std::uint32_t> declared_address{};
  bool sound_checksums = true;
  // Of a 64-bit entry point.
  std::optional<std::uint32_t> declared_maximum{};
};

// The table in the machine's memory. Writing to it ends the program.
class SmbiosDevice {
 public:
  SmbiosDevice(Machine& machine, const SmbiosTable& table, const SmbiosPlacement& placement = {});

  std::uint32_t Address() const { return address_; }

 private:
  Mapping table_memory_;
  std::uint32_t address_;
  Mapping entry_memory_ = Mapping::Low(EFI_PAGE_SIZE);
};

}  // namespace simulation
