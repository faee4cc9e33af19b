// Numbers and checksums in the bytes of a firmware table, little-endian.
#pragma once

#include <cstdint>
#include <span>

namespace platform {

// 0 where the bytes end before the number does.
inline std::uint64_t NumberAt(std::span<const std::uint8_t> bytes, std::size_t offset, std::size_t size) {
  if (offset + size > bytes.size()) return 0;
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < size; ++i) number |= std::uint64_t{bytes[offset + i]} << (8 * i);
  return number;
}

inline void PutNumber(std::span<std::uint8_t> bytes, std::size_t offset, std::size_t size, std::uint64_t number) {
  for (std::size_t i = 0; i < size; ++i) bytes[offset + i] = static_cast<std::uint8_t>(number >> (8 * i));
}

// Tables are sound when their bytes sum up to 0.
inline std::uint8_t ByteSum(std::span<const std::uint8_t> bytes) {
  std::uint8_t sum = 0;
  for (const std::uint8_t byte : bytes) sum = static_cast<std::uint8_t>(sum + byte);
  return sum;
}

inline void PutChecksum(std::span<std::uint8_t> bytes, std::size_t offset) {
  bytes[offset] = 0;
  bytes[offset] = static_cast<std::uint8_t>(-ByteSum(bytes));
}

}  // namespace platform
