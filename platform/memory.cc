#include "platform/memory.h"

namespace platform {

PoolBuffer::~PoolBuffer() {
  if (data != nullptr) ::FreePool(data);
}

}  // namespace platform
