#include "platform/memory.h"

#include <cstring>

namespace platform {
namespace {

constexpr std::uint64_t kBelow4GiB = 0xFFFFFFFF;
// The map may grow between being measured and being read, also by the block
// that is to hold it.
constexpr int kMapAttempts = 8;
constexpr std::size_t kMapReserve = 8;  // entries

std::size_t PagesFor(std::size_t bytes) { return (bytes + EFI_PAGE_SIZE - 1) / EFI_PAGE_SIZE; }

bool IsDevice(std::uint32_t kind) {
  return kind == EfiMemoryMappedIO || kind == EfiMemoryMappedIOPortSpace || kind == EfiReservedMemoryType;
}

// Firmware's entries are this long at the least, and mostly longer.
struct MapShape {
  std::size_t bytes = 0;
  std::size_t entry_bytes = sizeof(EFI_MEMORY_DESCRIPTOR);
};

EFI_STATUS ReadMap(void* map, MapShape* shape) {
  UINTN bytes = shape->bytes;
  UINTN key = 0;
  UINTN entry_bytes = 0;
  UINT32 version = 0;
  const EFI_STATUS status =
      BS->GetMemoryMap(&bytes, static_cast<EFI_MEMORY_DESCRIPTOR*>(map), &key, &entry_bytes, &version);
  const bool is_sound = bytes <= shape->bytes && entry_bytes >= sizeof(EFI_MEMORY_DESCRIPTOR);
  if (!EFI_ERROR(status) && !is_sound) return EFI_COMPROMISED_DATA;
  shape->bytes = bytes;
  if (entry_bytes >= sizeof(EFI_MEMORY_DESCRIPTOR)) shape->entry_bytes = entry_bytes;
  return status;
}

bool Touches(const EFI_MEMORY_DESCRIPTOR& entry, std::uint64_t first, std::uint64_t last) {
  if (entry.NumberOfPages == 0 || entry.PhysicalStart > last) return false;
  return first < entry.PhysicalStart || (first - entry.PhysicalStart) / EFI_PAGE_SIZE < entry.NumberOfPages;
}

void Search(const PoolBuffer& map, const MapShape& shape, std::uint64_t first, std::uint64_t last, bool* is_listed,
            std::uint32_t* kind) {
  for (std::size_t at = 0; at + shape.entry_bytes <= shape.bytes; at += shape.entry_bytes) {
    EFI_MEMORY_DESCRIPTOR entry;
    std::memcpy(&entry, static_cast<const std::uint8_t*>(map.data) + at, sizeof entry);
    if (IsDevice(entry.Type) || !Touches(entry, first, last)) continue;
    *is_listed = true;
    *kind = entry.Type;
  }
}

}  // namespace

PoolBuffer::~PoolBuffer() {
  if (data != nullptr) ::FreePool(data);
}

PoolBuffer AllocatePool(std::size_t bytes) { return {::AllocatePool(bytes), bytes}; }

LowPage::LowPage(std::uint64_t maximum) {
  EFI_PHYSICAL_ADDRESS page = maximum;
  is_allocated = !EFI_ERROR(BS->AllocatePages(AllocateMaxAddress, EfiBootServicesData, 1, &page));
  if (is_allocated) address = page;
}

LowPage::~LowPage() {
  if (is_allocated) BS->FreePages(address, 1);
}

void* TakeLowPages(std::size_t bytes, EFI_MEMORY_TYPE kind) {
  EFI_PHYSICAL_ADDRESS address = kBelow4GiB;
  if (EFI_ERROR(BS->AllocatePages(AllocateMaxAddress, kind, PagesFor(bytes), &address))) return nullptr;
  return std::memset(WritablePhysicalMemory(address), 0, PagesFor(bytes) * EFI_PAGE_SIZE);
}

void ReleaseLowPages(void* pages, std::size_t bytes) {
  BS->FreePages(reinterpret_cast<EFI_PHYSICAL_ADDRESS>(pages), PagesFor(bytes));
}

EFI_STATUS FindMemoryListed(std::uint64_t first, std::uint64_t last, bool* is_listed, std::uint32_t* kind) {
  MapShape shape;
  EFI_STATUS status = ReadMap(nullptr, &shape);
  if (!EFI_ERROR(status)) return EFI_COMPROMISED_DATA;  // a map without an entry is none
  for (int attempt = 0; attempt < kMapAttempts && status == EFI_BUFFER_TOO_SMALL; ++attempt) {
    shape.bytes += kMapReserve * shape.entry_bytes;
    const PoolBuffer map = AllocatePool(shape.bytes);
    if (map.data == nullptr) return EFI_OUT_OF_RESOURCES;
    status = ReadMap(map.data, &shape);
    if (EFI_ERROR(status)) continue;
    *is_listed = false;
    Search(map, shape, first, last, is_listed, kind);
  }
  return status;
}

void* TakeBlock(std::size_t bytes) { return AllocateZeroPool(bytes); }

void ReleaseBlock(void* block) { ::FreePool(block); }

}  // namespace platform
