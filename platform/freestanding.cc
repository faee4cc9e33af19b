// The C library routines to which compilers turn loops and comparisons, for
// images only. Compiled without the recognition of such loops, or they would
// call themselves.
#include <cstddef>

extern "C" {

int memcmp(const void* a, const void* b, std::size_t size) {
  const auto* x = static_cast<const unsigned char*>(a);
  const auto* y = static_cast<const unsigned char*>(b);
  for (; size > 0; --size, ++x, ++y) {
    if (*x != *y) return *x - *y;
  }
  return 0;
}

void* memcpy(void* destination, const void* source, std::size_t size) {
  auto* const to = static_cast<unsigned char*>(destination);
  const auto* const from = static_cast<const unsigned char*>(source);
  for (std::size_t i = 0; i < size; ++i) to[i] = from[i];
  return destination;
}

void* memset(void* destination, int value, std::size_t size) {
  auto* const to = static_cast<unsigned char*>(destination);
  for (std::size_t i = 0; i < size; ++i) to[i] = static_cast<unsigned char>(value);
  return destination;
}

void* memmove(void* destination, const void* source, std::size_t size) {
  auto* to = static_cast<unsigned char*>(destination);
  const auto* from = static_cast<const unsigned char*>(source);
  if (to < from) {
    for (std::size_t i = 0; i < size; ++i) to[i] = from[i];
  } else {
    while (size-- > 0) to[size] = from[size];
  }
  return destination;
}

std::size_t strlen(const char* text) {
  std::size_t length = 0;
  while (text[length] != 0) ++length;
  return length;
}

}  // extern "C"
