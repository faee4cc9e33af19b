#include "platform/memory.h"

namespace platform {

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

void* TakeBlock(std::size_t bytes) { return AllocateZeroPool(bytes); }

void ReleaseBlock(void* block) { ::FreePool(block); }

}  // namespace platform
