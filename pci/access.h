// SPDX-License-Identifier: BSD-2-Clause-Patent
// PCI devices, their base addresses and memory-mapped registers, through the
// firmware's root bridges. The root bridge is looked up at the first access
// and kept; of several, the last one found serves all accesses.
#pragma once

#include <cstdint>

namespace mfgtest {

// Forgets the root bridges: every image starts without them.
void ForgetPciSession();

// Whether the list of root bridges, a block of the pool, is kept.
bool HoldsRootBridges();

// Looks the root bridges up. The argument is not used. A failure is logged and
// leaves the session uninitialised, so that the next access tries again.
void initEfiProtocols(const void* ignored);

// The index-th device (from 0) with these IDs, in the order of the addresses;
// function 0 of the devices 0 to 30 on the buses 0 to 254 is looked at. The
// address is 0 when there is none.
[[nodiscard]] bool FindPciDevice(std::uint16_t vendor_id, std::uint16_t device_id, std::uint16_t index,
                                 std::uint32_t* address);

// A base address register as it stands, flag bits included; 0 on failure, which
// is reported with code 7.
[[nodiscard]] bool ReadPciBar(std::uint32_t address, std::uint8_t index, std::uint32_t* bar);

// One memory-mapped byte at base + offset, cut to 32 bits. A failure is logged
// and leaves the byte as it was.
[[nodiscard]] bool MemReadByte(std::uint64_t base, std::uint32_t offset, std::uint8_t* byte);

// One memory-mapped 32-bit word likewise. A failure is logged; the value is
// then what the failed read left, 0 if nothing.
[[nodiscard]] bool MemReadDword(std::uint64_t base, std::uint32_t offset, std::uint32_t* value);

}  // namespace mfgtest
