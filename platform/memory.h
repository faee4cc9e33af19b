// Memory that the firmware owns: pool blocks and physical addresses.
#pragma once

#include "platform/efi.h"

namespace platform {

// A block of the boot-services pool, released when it goes out of scope.
// `data` is null when there is no block.
struct PoolBuffer {
  PoolBuffer() = default;
  PoolBuffer(void* block, std::size_t bytes) : data(block), size(bytes) {}
  PoolBuffer(const PoolBuffer&) = delete;
  PoolBuffer& operator=(const PoolBuffer&) = delete;
  ~PoolBuffer();

  void* data = nullptr;
  std::size_t size = 0;
};

// A new block of the pool, its bytes undefined; empty when there is no memory.
PoolBuffer AllocatePool(std::size_t bytes);

// One page of boot-services data that ends at or below `maximum`, released when
// it goes out of scope.
struct LowPage {
  explicit LowPage(std::uint64_t maximum);
  LowPage(const LowPage&) = delete;
  LowPage& operator=(const LowPage&) = delete;
  ~LowPage();

  bool is_allocated = false;
  std::uint64_t address = 0;
};

// A block of the pool, filled with zeros, that stays until ReleaseBlock; null
// when there is no memory.
void* TakeBlock(std::size_t bytes);
void ReleaseBlock(void* block);

// Whole pages of that kind below 4 GiB, filled with zeros, that stay until
// ReleaseLowPages; null when there are none.
void* TakeLowPages(std::size_t bytes, EFI_MEMORY_TYPE kind);
void ReleaseLowPages(void* pages, std::size_t bytes);

// Whether firmware lists any byte from `first` to `last` as something else than
// a device's own or reserved, and as which of EFI_MEMORY_TYPE. What it does not
// list at all may be a device's. EFI_SUCCESS, or why the memory map cannot be
// had.
EFI_STATUS FindMemoryListed(std::uint64_t first, std::uint64_t last, bool* is_listed, std::uint32_t* kind);

// The byte at a physical address. UEFI maps memory one-to-one while boot
// services last, so the address is the pointer.
inline std::uint8_t* WritablePhysicalMemory(std::uint64_t address) { return reinterpret_cast<std::uint8_t*>(address); }
inline const std::uint8_t* PhysicalMemory(std::uint64_t address) {
  return reinterpret_cast<const std::uint8_t*>(address);
}

}  // namespace platform
