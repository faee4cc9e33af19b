// SPDX-License-Identifier: BSD-2-Clause-Patent
// Memory of the machine: pool blocks, pages, and memory at chosen addresses.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "platform/efi.h"

namespace simulation {

// Pages of the host at an address that firmware could use.
class Mapping {
 public:
  // At exactly that address, unless the host has something else there.
  static std::optional<Mapping> IfFree(std::uint64_t address, std::size_t size);
  // The same; throws when the host refuses.
  static Mapping At(std::uint64_t address, std::size_t size);
  // Anywhere below 2 GiB, with an unmapped page behind it; throws as well.
  static Mapping Low(std::size_t size);

  Mapping(Mapping&& other) noexcept;
  Mapping& operator=(Mapping&& other) noexcept;
  ~Mapping();

  std::uint8_t* Data() const { return data_; }
  std::size_t Size() const { return size_; }
  // From now on a write ends the program.
  void Protect();

 private:
  Mapping(void* data, std::size_t size, std::size_t guard);

  std::uint8_t* data_;
  std::size_t size_;
  std::size_t guard_;
};

// The firmware's allocation services. Memory is filled with a pattern when it
// is handed out and again when it comes back; a free of what is not allocated
// is a fault.
class Memory {
 public:
  ~Memory();

  EFI_STATUS AllocatePool(UINTN size, void** block);
  EFI_STATUS FreePool(void* block);
  EFI_STATUS AllocatePages(EFI_ALLOCATE_TYPE type, UINTN count, EFI_PHYSICAL_ADDRESS* address);
  EFI_STATUS FreePages(EFI_PHYSICAL_ADDRESS address, UINTN count);

  // Pool blocks and page runs that are allocated.
  std::size_t Outstanding() const { return pool_.size() + pages_.size(); }
  const std::map<EFI_PHYSICAL_ADDRESS, Mapping>& Pages() const { return pages_; }

  // What memory holds that was just handed out.
  static constexpr std::uint8_t kFresh = 0xAF;
  // There is no block of this size, and there are no pages.
  std::optional<UINTN> refused_size;
  bool refuses_pages = false;

 private:
  struct Block {
    std::size_t size;
    std::optional<Mapping> low{};
  };
  std::map<void*, Block> pool_;
  std::map<EFI_PHYSICAL_ADDRESS, Mapping> pages_;
};

}  // namespace simulation
