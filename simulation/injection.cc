// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/injection.h"

#include <algorithm>
#include <stdexcept>

#include "platform/status_text.h"
#include "simulation/machine.h"
#include "simulation/text.h"

namespace simulation {
namespace {

template <class MakeName>
Failure CountCall(Ways ways, MakeName make_name) {
  CountStep();
  Injection& injection = Machine::Current().injection;
  injection.calls.push_back(static_cast<std::uint8_t>(ways.size()));
  const std::uint64_t number = injection.calls.size();
  if (std::ranges::count(ways, EFI_WRITE_PROTECTED) != 0) injection.writes.push_back(number);
  if (number == injection.cut) throw PowerCut();
  for (const Injection::Call& failing : injection.failing) {
    if (number != failing.number || failing.way >= ways.size()) continue;
    injection.failed.push_back({make_name(), ways.begin()[failing.way]});
    return {injection.failed.back().way};
  }
  const bool fails_again =
      injection.for_good && !injection.failed.empty() && injection.failed.front().service == make_name();
  return {fails_again ? injection.failed.front().way : EFI_SUCCESS};
}

std::string WayText(EFI_STATUS way) {
  if (way == kNothing) return "success with nothing";
  if (way == kTooMuch) return "success with too much";
  return Readable(platform::StatusText(way).Text());
}

}  // namespace

Failure Fails(std::string_view service, Ways ways) {
  return CountCall(ways, [&] { return std::string(service); });
}

Failure Fails(std::string_view service, std::u16string_view subject, Ways ways) {
  return CountCall(ways, [&] { return std::string(service) + " " + Readable(subject); });
}

Failure Fails(std::string_view service, const EFI_GUID& protocol, Ways ways) {
  return CountCall(ways, [&] { return std::string(service) + " " + Readable(protocol).substr(0, 8); });
}

std::string Told(const Injection& injection) {
  std::string text;
  for (const Injection::Failed& one : injection.failed) {
    text += (text.empty() ? "" : " and ") + one.service + " (" + WayText(one.way) + ")";
  }
  return text;
}

void CountStep() {
  Machine& machine = Machine::Current();
  if (++machine.steps > machine.most_steps) throw std::runtime_error("the run does not come to its end");
}

}  // namespace simulation
