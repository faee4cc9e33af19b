// SPDX-License-Identifier: BSD-2-Clause-Patent
// Where the fields lie that the tests read, by the structure types and field
// names of the SMBIOS standard (DSP0134).
#pragma once

#include <array>

#include "smbios/structures.h"

namespace mfgtest::fields {

namespace bios {
inline constexpr std::uint8_t kType = 0;
inline constexpr std::uint8_t kVendor = 0x04;
inline constexpr std::uint8_t kVersion = 0x05;
inline constexpr std::uint8_t kReleaseDate = 0x08;
}  // namespace bios

namespace system {
inline constexpr std::uint8_t kType = 1;
inline constexpr std::uint8_t kManufacturer = 0x04;
inline constexpr std::uint8_t kProductName = 0x05;
inline constexpr std::uint8_t kVersion = 0x06;
inline constexpr std::uint8_t kSerialNumber = 0x07;
inline constexpr std::uint8_t kUuid = 0x08;
}  // namespace system

namespace baseboard {
inline constexpr std::uint8_t kType = 2;
inline constexpr std::uint8_t kManufacturer = 0x04;
inline constexpr std::uint8_t kProduct = 0x05;
inline constexpr std::uint8_t kVersion = 0x06;
inline constexpr std::uint8_t kSerialNumber = 0x07;
}  // namespace baseboard

namespace chassis {
inline constexpr std::uint8_t kType = 3;
inline constexpr std::uint8_t kManufacturer = 0x04;
inline constexpr std::uint8_t kChassisType = 0x05;
inline constexpr std::uint8_t kVersion = 0x06;
inline constexpr std::uint8_t kSerialNumber = 0x07;
inline constexpr std::uint8_t kAssetTagNumber = 0x08;
}  // namespace chassis

namespace oem_strings {
inline constexpr std::uint8_t kType = 11;
inline constexpr std::uint8_t kCount = 0x04;
}  // namespace oem_strings

namespace event_log {
inline constexpr std::uint8_t kType = 15;
inline constexpr std::uint8_t kLogDataStartOffset = 0x08;
inline constexpr std::uint8_t kAccessMethod = 0x0A;
inline constexpr std::uint8_t kAccessMethodAddress = 0x10;
inline constexpr std::uint8_t kDescriptorCount = 0x15;
inline constexpr std::uint8_t kDescriptors = 0x17;  // two bytes each, the type first
}  // namespace event_log

namespace memory_array {
inline constexpr std::uint8_t kType = 16;
inline constexpr std::uint8_t kDeviceCount = 0x0D;
}  // namespace memory_array

namespace memory_device {
inline constexpr std::uint8_t kType = 17;
inline constexpr std::uint8_t kSize = 0x0C;
inline constexpr std::uint8_t kDeviceLocator = 0x10;
inline constexpr std::uint8_t kBankLocator = 0x11;
inline constexpr std::uint8_t kSpeed = 0x15;
}  // namespace memory_device

}  // namespace mfgtest::fields

namespace mfgtest {

// A system's UUID, as the table holds its bytes.
using SystemUuidBytes = std::array<std::uint8_t, 16>;
inline SystemUuidBytes SystemUuid(const SmbiosStructure& system) {
  SystemUuidBytes uuid;
  for (unsigned i = 0; i < uuid.size(); ++i) uuid[i] = system.Byte(fields::system::kUuid + i);
  return uuid;
}

}  // namespace mfgtest
