// SPDX-License-Identifier: BSD-2-Clause-Patent
// The network controllers: how many, in which state, with which addresses.
#include "fuzz/changes.h"
#include "fuzz/targets.h"

namespace fuzz {
namespace {

constexpr EFI_STATUS kStartAnswers[] = {EFI_SUCCESS, EFI_ALREADY_STARTED, EFI_DEVICE_ERROR, EFI_UNSUPPORTED};

enum class NetworkChange : std::uint8_t { kMore, kAddress, kState, kStart, kNoMode, kGone };
constexpr std::size_t kNetworkChanges = 6;

void Apply(Input& input, HostileServer& server) {
  auto& networks = server.networks;
  const auto kind = static_cast<NetworkChange>(input.Below(kNetworkChanges));
  const std::uint8_t value = input.Byte();
  if (kind == NetworkChange::kMore || networks.empty()) {
    for (std::uint8_t i = value % 32; i < 32; ++i) {
      networks.emplace_back(server.station.machine, std::array<std::uint8_t, 6>{0, 0x11, value, 0, 0, i});
    }
    return;
  }
  const auto one = std::next(networks.begin(), static_cast<std::ptrdiff_t>(value % networks.size()));
  switch (kind) {
    case NetworkChange::kAddress:
      std::ranges::copy(input.Take(6), one->mode.CurrentAddress.Addr);
      one->mode.HwAddressSize = input.Byte();
      return;
    case NetworkChange::kState:
      one->mode.State = input.Byte();
      return;
    case NetworkChange::kStart:
      one->start_status = kStartAnswers[input.Below(std::size(kStartAnswers))];
      return;
    case NetworkChange::kNoMode:
      one->Mode = nullptr;
      return;
    default:
      networks.erase(one);
  }
}

}  // namespace

void ChangeNetwork(Input& input, HostileServer& server) {
  const std::uint8_t way = input.Byte();
  auto& parameters = server.station.library->parameters;
  if ((way & 1) != 0) parameters[u"NIC_Index"] = std::u16string(1, static_cast<char16_t>(u'0' + (way >> 4) % 10));
  if ((way & 2) != 0) parameters[u"VERIFY_MACADDR_AGAINST"] = u"MACADDR_ONBOARD";
  if ((way & 4) != 0) server.station.machine.found_nowhere = simulation::kSimpleNetworkGuid;
  while (!input.Empty()) Apply(input, server);
}

void FuzzNetwork(Input input) { RunChanged(input, {27, 0, 14, 28, 31}, ChangeNetwork); }

}  // namespace fuzz
