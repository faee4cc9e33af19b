#include "platform/memory.h"

namespace platform {

PoolBuffer::~PoolBuffer() {
  if (data != nullptr) ::FreePool(data);
}

void* TakeBlock(std::size_t bytes) { return AllocateZeroPool(bytes); }

void ReleaseBlock(void* block) { ::FreePool(block); }

}  // namespace platform
