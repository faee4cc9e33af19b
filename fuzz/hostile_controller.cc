// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "fuzz/hostile_controller.h"

#include <memory>

namespace fuzz {
namespace {

using simulation::IpmiAnswer;

// The commands whose answers may be meant: flags, messages, reads of a FRU, the
// OEM query; or any.
constexpr std::string_view kCommands[] = {"", "> 06 31", "> 06 33", "> 06 34", "> 0A 11", "> 30 93", "> 06 30"};

// In Get Message's data: channel, network function, checksum, and then what the
// second checksum covers.
constexpr std::size_t kSecondPart = 3;

enum class Kind : std::uint8_t { kByte, kLength, kCompletionCode, kManner, kFlip, kAll, kSealed };
constexpr std::size_t kKinds = 7;

struct Distortion {
  std::string_view command;
  std::size_t after;  // answers that are left alone
  Kind kind;
  std::uint8_t place;
  std::uint8_t value;
  bool for_good;
};

std::vector<Distortion> TakeDistortions(Input& input) {
  std::vector<Distortion> distortions(input.Below(9));
  for (Distortion& one : distortions) {
    one.command = kCommands[input.Below(std::size(kCommands))];
    one.after = input.Byte();
    const std::uint8_t kind = input.Byte();
    one.kind = static_cast<Kind>(kind % kKinds);
    one.for_good = kind >= 0x80;
    one.place = input.Byte();
    one.value = input.Byte();
  }
  return distortions;
}

void Apply(const Distortion& distortion, IpmiAnswer& answer) {
  Bytes& data = answer.data;
  switch (distortion.kind) {
    case Kind::kLength:
      // Mostly about as long as a header.
      return data.resize(distortion.place < 0xC0 ? distortion.place % 16u : distortion.place * 2u, distortion.value);
    case Kind::kCompletionCode:
      answer.completion_code = distortion.value;
      return;
    case Kind::kManner:
      answer.manner = static_cast<IpmiAnswer::Manner>(distortion.value % 5);
      return;
    case Kind::kAll:
      std::ranges::fill(data, distortion.value);
      return;
    default:
      if (data.empty()) return;
  }
  std::uint8_t& byte = data[distortion.place % data.size()];
  byte = static_cast<std::uint8_t>(distortion.kind == Kind::kFlip ? byte ^ distortion.value : distortion.value);
  if (distortion.kind != Kind::kSealed || data.size() <= kSecondPart) return;
  data.back() = 0;
  data.back() = simulation::ZeroChecksum(Bytes(data.begin() + kSecondPart, data.end()));
}

}  // namespace

void Distort(Input& input, simulation::ManagementController& controller) {
  auto pending = std::make_shared<std::vector<Distortion>>(TakeDistortions(input));
  controller.distort = [pending, &controller](IpmiAnswer& answer) {
    // The request is the last line that is not from behind the IPMB.
    const auto& log = controller.log;
    const auto request =
        std::find_if(log.rbegin(), log.rend(), [](const std::string& line) { return line.starts_with("> "); });
    for (Distortion& one : *pending) {
      if (request == log.rend() || !request->starts_with(one.command)) continue;
      if (one.after == 0) Apply(one, answer);
      if (one.after > 0 || !one.for_good) --one.after;
    }
  };
}

void EditFru(Input& input, simulation::ManagementController& controller, std::uint8_t address) {
  auto& devices = controller.frus.at(address);
  auto device = devices.begin();
  std::advance(device, static_cast<std::ptrdiff_t>(input.Below(devices.size())));
  Edit(input, device->second);
}

}  // namespace fuzz
