// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/flash.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "simulation/fault.h"
#include "simulation/injection.h"
#include "simulation/pci_bus.h"

namespace simulation {
namespace {

constexpr std::size_t kBlockBytes = 0x10000;

template <class T>
T Field(const std::uint8_t* page, std::size_t offset) {
  T value;
  std::memcpy(&value, page + offset, sizeof value);
  return value;
}

Mapping AtOrLow(std::uint32_t address) {
  std::optional<Mapping> block = Mapping::IfFree(address, kBlockBytes);
  return block ? std::move(*block) : Mapping::Low(kBlockBytes);
}

bool IsErase(const std::uint8_t* page) {
  return std::all_of(page + 4, page + 8, [](std::uint8_t byte) { return byte == Memory::kFresh; });
}

}  // namespace

Flash::Flash(Machine& machine) : Flash(machine, Mapping::Low(kBlockBytes)) {
  // No two 16-byte pieces of the block are alike.
  std::vector<std::uint8_t> pattern(kBlockBytes);
  for (std::size_t i = 0; i < kBlockBytes; ++i)
    pattern[i] = static_cast<std::uint8_t>(i % 16 == 0 ? i >> 4 : i >> 12 ^ i);
  Program(0, pattern);
}

Flash::Flash(Machine& machine, std::uint32_t address, std::span<const std::uint8_t> content)
    : Flash(machine, AtOrLow(address)) {
  Program(0, content);
}

Flash::Flash(Machine& machine, Mapping block) : machine_(machine), block_(std::move(block)) {
  // A write ends the program: only the service can change the flash.
  block_.Protect();
  machine.before_search = [this](const EFI_GUID& protocol) {
    if (!SameGuid(protocol, kRootBridgeGuid)) return;
    for (const auto& [page_address, pages] : machine_.memory.Pages()) {
      if (page_address < 0x10000) Serve(pages.Data());
    }
  };
}

Flash::~Flash() { machine_.before_search = nullptr; }

std::uint32_t Flash::Address() const {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(block_.Data()));
}

void Flash::Program(std::size_t offset, std::span<const std::uint8_t> bytes) {
  mprotect(block_.Data(), block_.Size(), PROT_READ | PROT_WRITE);
  std::ranges::copy(bytes, block_.Data() + offset);
  block_.Protect();
}

void Flash::Serve(std::uint8_t* page) {
  const bool is_erase = IsErase(page);
  machine_.NoteWrite(is_erase ? "flash erase" : "flash write");
  requests.emplace_back(page, page + EFI_PAGE_SIZE);
  if (Field<std::uint32_t>(page, 0) != Address()) return Fault("a request for another flash block");
  const Failure failure = Fails(is_erase ? "flash erase" : "flash write", kOfSettings);
  const std::uint64_t status = failure ? failure.way : is_erase ? erase_status : write_status;
  if (status == 0 && is_erase) {
    Program(0, std::vector<std::uint8_t>(kBlockBytes, 0xFF));
  } else if (status == 0) {
    const auto* const source = reinterpret_cast<const std::uint8_t*>(std::uintptr_t{Field<std::uint32_t>(page, 8)});
    Program(0, {source, Field<std::uint32_t>(page, 4)});
  }
  std::memcpy(page + (is_erase ? 8 : 16), &status, sizeof status);
}

}  // namespace simulation
