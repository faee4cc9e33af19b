// SPDX-License-Identifier: BSD-2-Clause-Patent
// Faults of a simulated run: something the code under test did that real
// firmware would punish or that nobody provided.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>

#include "platform/efi.h"

namespace simulation {

// What is done about a fault. Prints it and aborts until a test program puts
// its own way of failing here.
using FaultHandler = void (*)(const std::string& what);
extern constinit FaultHandler fault_handler;

void Fault(const std::string& what);

template <const auto& kNames, std::size_t kIndex>
std::uint64_t EFIAPI Refuse() {
  Fault(std::string(kNames[kIndex]) + " was called, which this machine does not provide");
  return EFI_UNSUPPORTED;
}

// Fills a table of function pointers with refusals that know their names, so
// that no slot is ever null. What is provided is written over them.
template <const auto& kNames>
void FillWithRefusals(void* first_slot) {
  [&]<std::size_t... kIndex>(std::index_sequence<kIndex...>) {
    ((static_cast<void**>(first_slot)[kIndex] = reinterpret_cast<void*>(&Refuse<kNames, kIndex>)), ...);
  }
  (std::make_index_sequence<kNames.size()>{});
}

// Whether a table consists of exactly the slots that were named.
template <const auto& kNames, std::size_t kBytes>
inline constexpr bool kNamesEverySlot = kNames.size() * sizeof(void*) == kBytes;

}  // namespace simulation
