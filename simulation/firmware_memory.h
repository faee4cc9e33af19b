// SPDX-License-Identifier: BSD-2-Clause-Patent
// Bytes of firmware at the addresses where a machine had them.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "simulation/machine.h"

namespace simulation {

class FirmwareMemory {
 public:
  explicit FirmwareMemory(Machine& machine) : machine_(machine) {}

  // Puts the bytes at `address`, over what was put there before, and gives where
  // they lie: anywhere below 2 GiB without an address, and where the host has
  // something else there.
  std::uint64_t Put(std::span<const std::uint8_t> bytes, std::optional<std::uint64_t> address);

  // From now on a write ends the program.
  void Protect();

 private:
  bool MapPages(std::uint64_t address, std::size_t size);

  Machine& machine_;
  std::vector<Mapping> mappings_;
};

}  // namespace simulation
