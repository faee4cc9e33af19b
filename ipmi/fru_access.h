// SPDX-License-Identifier: BSD-2-Clause-Patent
// FRU inventory bytes through Read FRU Data (IPMI Platform Management FRU
// Information Storage Definition v1.0, IPMI 2.0 "FRU Inventory Device
// Commands").
#pragma once

#include "ipmi/transport.h"
#include "platform/byte_fields.h"

namespace mfgtest {

// Where a FRU device sits.
enum class FruRoute : std::uint8_t {
  kBmc = 0,                 // served by the management controller itself
  kPrimaryBackplane = 1,    // behind the controller at IPMB address 0xC0
  kSecondaryBackplane = 2,  // behind the controller at IPMB address 0xC2
};

// The route that the parameter `HSBP` names; a number that names none gives one
// along which every read fails.
constexpr FruRoute FruRouteOf(std::uint32_t parameter) {
  return static_cast<FruRoute>(parameter > 0xFF ? 0xFF : parameter);
}

// Where the reason of a failed read goes.
enum class FruReport : std::uint8_t {
  kToLibrary,   // to ReportError, or nowhere: see the routines
  kToLastError  // to the last-error text
};

struct FruDevice {
  std::uint8_t id;
  FruRoute route;
  FruReport report;
};

// One buffer a test: a failed read leaves the bytes of the read before.
struct FruBuffer {
  // The bytes of the last successful read, in one of two layouts: with the count
  // byte in front, or after ReadFruBytesNoCount without it. What reads the one
  // takes what it finds of the other where a read has failed.
  std::array<std::uint8_t, kIpmiResponseCapacity> bytes{};
  // Data bytes of the last successful read.
  std::uint32_t length = 0;
  // Written by reads along the route to the controller itself.
  std::uint8_t completion_code = 0;

  // With the count byte: the first four bytes as a little-endian number, the
  // three behind the count, and the one.
  std::uint32_t Word() const { return platform::LittleEndian32(bytes.data()); }
  std::uint32_t Value() const { return Word() >> 8; }
  std::uint8_t Byte() const { return bytes[1]; }
  // Without it: what follows a field's type/length byte.
  std::span<const std::uint8_t> FieldText(std::size_t count) const { return std::span(bytes).subspan(1, count); }
};

struct FruRange {
  std::uint8_t offset_low;
  std::uint8_t offset_high;
  std::uint8_t count;
};

// Device 0 of the controller, one attempt. A failure is reported to the library
// with code 23, or goes to the last-error text.
[[nodiscard]] bool ReadFruData(FruRange range, FruReport report, FruBuffer* buffer);

// A device along its route. A failure is reported with code 23, except that one
// of the controller's own devices is not: the retrying transport has shown its
// attempts.
[[nodiscard]] bool ReadFruBytes(const FruDevice& device, FruRange range, FruBuffer* buffer);

// The same without the count byte in front, for the controller's own devices
// only; along another route it fails at once. The byte after the data is 0.
[[nodiscard]] bool ReadFruBytesNoCount(const FruDevice& device, FruRange range, FruBuffer* buffer);

// The first byte of the controller's answer to the OEM query, 0 without one.
std::uint8_t GetBmcOemCode();

}  // namespace mfgtest
