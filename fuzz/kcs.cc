// SPDX-License-Identifier: BSD-2-Clause-Patent
// The KCS interface of a management controller: status and data bytes, as the
// driver sees them under the module's IPMI tests.
#include "fuzz/kcs.h"
#include "fuzz/driver.h"
#include "fuzz/targets.h"
#include "fuzz/whole_run.h"
#include "simulation/fault.h"
#include "simulation/kcs_interface.h"

namespace fuzz {
namespace {

using simulation::IpmiAnswer;
using simulation::KcsInterface;

constexpr std::uint16_t kPort = 0xCA2;
constexpr std::uint16_t kPortBehind = 0x5000;
constexpr std::uint16_t kStatusOffset = 1;
// Error state, with a byte put out: it ends every wait.
constexpr std::uint8_t kEndOfPatience = 0xC1;

// Passes bytes to and from a sound interface, and changes some on their way.
class HostilePorts : public simulation::PortDevice {
 public:
  HostilePorts(Input& input, KcsInterface& behind, std::size_t patience)
      : PortDevice(kPort, 2), input_(input), behind_(behind), patience_(patience) {
    NextChange();
  }

 private:
  std::uint8_t Read(std::uint16_t offset) override {
    const std::uint8_t value = Change(behind_.ReadPort(kPortBehind + offset));
    // A wait for its full time takes half a million reads; one is enough.
    if (offset != kStatusOffset || ++waiting_ < patience_) return value;
    patience_ = 1000;
    return kEndOfPatience;
  }

  void Write(std::uint16_t offset, std::uint8_t value) override {
    waiting_ = 0;
    behind_.WritePort(kPortBehind + offset, Change(value));
  }

  std::uint8_t Change(std::uint8_t value) {
    if (left_ > 0) {
      --left_;
      return value;
    }
    const std::uint8_t mask = mask_;
    NextChange();
    return value ^ mask;
  }

  // The next byte that is changed, counted from here, and how. A sound
  // interface is behind the end of the input.
  void NextChange() {
    const std::size_t skipped = input_.Byte();
    left_ = skipped < 0x80 ? skipped : (skipped - 0x7F) * 0x20;
    mask_ = input_.Byte();
  }

  Input& input_;
  KcsInterface& behind_;
  std::size_t patience_;
  std::size_t waiting_ = 0;
  std::size_t left_ = 0;
  std::uint8_t mask_ = 0;
};

}  // namespace

KcsInterface::Controller Serving(simulation::ManagementController& controller) {
  return [&controller](const Bytes& request) -> Bytes {
    if (request.size() < 2) return {};
    const simulation::IpmiRequest message{.net_function = static_cast<std::uint8_t>(request[0] >> 2),
                                          .command = request[1],
                                          .data = {request.begin() + 2, request.end()}};
    const IpmiAnswer answer = controller.Answer(message);
    Bytes response = {static_cast<std::uint8_t>(request[0] | 4), request[1], answer.completion_code};
    response.insert(response.end(), answer.data.begin(), answer.data.end());
    return response;
  };
}

void RemoveTransport(ReferenceServer& server) {
  auto& handles = server.station.machine.handles;
  for (const EFI_HANDLE handle : handles.Handles(&kIpmiTransportProtocolGuid)) {
    handles.Uninstall(handle, kIpmiTransportProtocolGuid, static_cast<IpmiTransport*>(&*server.ipmi));
  }
}

void FuzzKcs(Input input) {
  constexpr std::uint32_t kTests[] = {34, 38, 39, 41, 42, 43};
  ReferenceServer server(ChooseRun(input, kTests));
  const std::uint8_t way = input.Byte();
  simulation::Machine& machine = server.station.machine;
  RemoveTransport(server);
  KcsInterface behind(kPortBehind, Serving(server.controller));
  behind.attention = (way & 1) != 0;
  behind.omits_last_byte = (way & 2) != 0;
  behind.latency = way >> 4;
  HostilePorts ports(input, behind, (way & 4) != 0 ? 600'000 : 1000);

  Driver driver(machine, ipmi_kcs_efi_main, u"io=0xca2");
  // Without a transport the tests have an end, too.
  const Judge judge(server);
  server.station.RunUnread(server.run.test);
  // Bytes were changed on their way: not what the module asked for.
  server.controller.log.clear();
  judge.AfterRun();
  driver.Unload();
  if (!machine.handles.Handles(&kIpmiTransportProtocolGuid).empty()) simulation::Fault("the driver left its transport");
}

}  // namespace fuzz
