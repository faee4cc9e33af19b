// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/memory.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

#include "simulation/fault.h"

#if __has_include(<valgrind/memcheck.h>)
#include <valgrind/memcheck.h>
#else
#define VALGRIND_MAKE_MEM_UNDEFINED(block, size) static_cast<void>(0)
#endif

namespace simulation {
namespace {

constexpr std::size_t kPage = EFI_PAGE_SIZE;
constexpr int kPatternFreed = 0xDF;
// The machine's last byte. The sanitizers keep their own memory above it.
constexpr EFI_PHYSICAL_ADDRESS kTopOfMemory = 0x7FEFFFFF;

// Firmware's pool lies below 4 GiB. Here only the blocks from this size on do,
// against an unmapped page; they can be handed on in 32 bits.
constexpr std::size_t kLowBlock = 0x10000;
constexpr std::size_t kPoolAlignment = 16;

std::size_t WholePages(std::size_t size) { return (size + kPage - 1) / kPage * kPage; }

void* Map(void* address, std::size_t size, int flags) {
  void* const mapped = mmap(address, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | flags, -1, 0);
  return mapped == MAP_FAILED ? nullptr : mapped;
}

// Throws when the host refused.
void* Granted(void* mapped) {
  if (mapped == nullptr) throw std::system_error(errno, std::generic_category(), "the host refuses memory");
  return mapped;
}

}  // namespace

Mapping::Mapping(void* data, std::size_t size, std::size_t guard)
    : data_(static_cast<std::uint8_t*>(data)), size_(size), guard_(guard) {}

std::optional<Mapping> Mapping::IfFree(std::uint64_t address, std::size_t size) {
  const std::size_t bytes = WholePages(size);
  void* const mapped = Map(reinterpret_cast<void*>(address), bytes, MAP_FIXED_NOREPLACE);
  if (mapped == nullptr) return std::nullopt;
  return Mapping(mapped, bytes, 0);
}

Mapping Mapping::At(std::uint64_t address, std::size_t size) {
  const std::size_t bytes = WholePages(size);
  return {Granted(Map(reinterpret_cast<void*>(address), bytes, MAP_FIXED_NOREPLACE)), bytes, 0};
}

Mapping Mapping::Low(std::size_t size) {
  const std::size_t bytes = WholePages(size);
  Mapping mapping(Granted(Map(nullptr, bytes + kPage, MAP_32BIT)), bytes, kPage);
  mprotect(mapping.data_ + bytes, kPage, PROT_NONE);
  return mapping;
}

Mapping::Mapping(Mapping&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), size_(other.size_), guard_(other.guard_) {}

Mapping& Mapping::operator=(Mapping&& other) noexcept {
  std::swap(data_, other.data_);
  std::swap(size_, other.size_);
  std::swap(guard_, other.guard_);
  return *this;
}

Mapping::~Mapping() {
  if (data_ != nullptr) munmap(data_, size_ + guard_);
}

void Mapping::Protect() { mprotect(data_, size_, PROT_READ); }

Memory::~Memory() {
  for (const auto& [start, block] : pool_) {
    if (!block.low) std::free(start);
  }
}

EFI_STATUS Memory::AllocatePool(UINTN size, void** block) {
  if (size == refused_size) return EFI_OUT_OF_RESOURCES;
  if (size >= kLowBlock) {
    Mapping low = Mapping::Low(size);
    *block = low.Data() + (low.Size() - size) / kPoolAlignment * kPoolAlignment;
    pool_.emplace(*block, Block{size, std::move(low)});
  } else {
    *block = std::malloc(size);
    pool_.emplace(*block, Block{size});
  }
  std::memset(*block, kFresh, size);
  // The pattern is not what anybody may count on.
  VALGRIND_MAKE_MEM_UNDEFINED(*block, size);
  return EFI_SUCCESS;
}

EFI_STATUS Memory::FreePool(void* block) {
  const auto found = pool_.find(block);
  if (found == pool_.end()) {
    Fault("FreePool of a block that is not allocated");
    return EFI_INVALID_PARAMETER;
  }
  std::memset(block, kPatternFreed, found->second.size);
  if (!found->second.low) std::free(block);
  pool_.erase(found);
  return EFI_SUCCESS;
}

EFI_STATUS Memory::AllocatePages(EFI_ALLOCATE_TYPE type, UINTN count, EFI_PHYSICAL_ADDRESS* address) {
  if (refuses_pages) return EFI_OUT_OF_RESOURCES;
  const std::size_t size = count * kPage;
  std::uint64_t candidate = *address;
  if (type != AllocateAddress) {
    const std::uint64_t limit = type == AllocateMaxAddress ? std::min(*address, kTopOfMemory) : kTopOfMemory;
    candidate = (limit + 1 - size) / kPage * kPage;
  }
  std::optional<Mapping> run = Mapping::IfFree(candidate, size);
  // Firmware looks for free pages from the limit downwards.
  while (!run && type != AllocateAddress && candidate > kPage) run = Mapping::IfFree(candidate -= kPage, size);
  if (!run) return type == AllocateAddress ? EFI_NOT_FOUND : EFI_OUT_OF_RESOURCES;
  std::memset(run->Data(), kFresh, size);
  *address = candidate;
  pages_.emplace(candidate, std::move(*run));
  return EFI_SUCCESS;
}

EFI_STATUS Memory::FreePages(EFI_PHYSICAL_ADDRESS address, UINTN count) {
  const auto found = pages_.find(address);
  if (found == pages_.end() || found->second.Size() != count * kPage) {
    Fault("FreePages of pages that are not allocated, or of another number of them");
    return EFI_NOT_FOUND;
  }
  pages_.erase(found);
  return EFI_SUCCESS;
}

}  // namespace simulation
