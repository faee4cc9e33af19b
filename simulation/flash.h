// SPDX-License-Identifier: BSD-2-Clause-Patent
// A memory-mapped block of flash below 4 GiB, and the system management service
// that erases and writes it.
#pragma once

#include <span>
#include <vector>

#include "simulation/machine.h"

namespace simulation {

// The service looks for a request, a page below 64 KiB, whenever somebody
// searches for the root bridges, and writes its status into the page. The
// layouts: block address at 0 and status at 8; with a length at 4, a write:
// source at 8 and status at 16.
class Flash {
 public:
  explicit Flash(Machine& machine);
  // A block with this content, at that address unless the host has something
  // else there.
  Flash(Machine& machine, std::uint32_t address, std::span<const std::uint8_t> content);
  Flash(const Flash&) = delete;
  Flash& operator=(const Flash&) = delete;
  ~Flash();

  std::uint32_t Address() const;
  std::span<const std::uint8_t> Bytes() const { return {block_.Data(), block_.Size()}; }
  void Program(std::size_t offset, std::span<const std::uint8_t> bytes);

  // The pages of the requests as the service found them.
  std::vector<std::vector<std::uint8_t>> requests;
  // What it answers; anything but 0 leaves the flash as it is.
  std::uint64_t erase_status = 0;
  std::uint64_t write_status = 0;

 private:
  Flash(Machine& machine, Mapping block);
  void Serve(std::uint8_t* page);

  Machine& machine_;
  Mapping block_;
};

}  // namespace simulation
