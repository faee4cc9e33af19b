// SPDX-License-Identifier: BSD-2-Clause-Patent
// PCI configuration space, and memory-mapped space behind the BARs.
#include "fuzz/changes.h"
#include "fuzz/targets.h"
#include "simulation/text.h"

namespace fuzz {
namespace {

constexpr EFI_STATUS kBridgeAnswers[] = {EFI_SUCCESS, EFI_DEVICE_ERROR, EFI_INVALID_PARAMETER, EFI_TIMEOUT};

enum class BridgeChange : std::uint8_t { kFunction, kHeaderWord, kStatus, kRegister, kMissingByte };
constexpr std::size_t kBridgeChanges = 5;

std::uint32_t TakeDword(Input& input) {
  const std::uint32_t low = input.Word();
  return low | std::uint32_t{input.Word()} << 16;
}

void Apply(Input& input, simulation::RootBridge& bridge) {
  const auto kind = static_cast<BridgeChange>(input.Below(kBridgeChanges));
  // Bus, device, and more often than not an existing function.
  std::uint64_t address = input.Word() << 16;
  if (kind != BridgeChange::kFunction && !bridge.headers.empty()) address = bridge.headers.begin()->first;
  switch (kind) {
    case BridgeChange::kFunction:
      return bridge.AddFunction(address, 0x104C, 0x8024, TakeDword(input));
    case BridgeChange::kHeaderWord:
      bridge.headers[address][input.Below(16)] = TakeDword(input);
      return;
    case BridgeChange::kStatus:
      bridge.header_statuses[address] = kBridgeAnswers[input.Below(std::size(kBridgeAnswers))];
      return;
    case BridgeChange::kRegister: {
      const std::uint32_t bar = bridge.headers[address][4] & ~0xFu;
      bridge.AddRegister(bar + input.Byte(), TakeDword(input));
      return;
    }
    case BridgeChange::kMissingByte:
      bridge.memory.erase((bridge.headers[address][4] & ~0xFu) + input.Byte());
  }
}

}  // namespace

void ChangePci(Input& input, HostileServer& server) {
  const std::uint8_t way = input.Byte();
  auto& parameters = server.station.library->parameters;
  if ((way & 1) != 0) parameters[u"1394_VENDOR_ID"] = u"0x" + simulation::Widen(std::to_string(input.Word()));
  if ((way & 2) != 0) parameters[u"1394_DEVICE_ID"] = simulation::Widen(std::to_string(TakeDword(input)));
  if ((way & 4) != 0) server.station.machine.found_nowhere = simulation::kRootBridgeGuid;
  if ((way & 8) != 0) server.station.machine.handles.RefuseInterface(simulation::kRootBridgeGuid, EFI_ACCESS_DENIED);
  while (!input.Empty()) Apply(input, server.root_bridge);
}

void FuzzPci(Input input) { RunChanged(input, {33, 0, 28, 37}, ChangePci); }

}  // namespace fuzz
