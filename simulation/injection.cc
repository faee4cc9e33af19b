// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/injection.h"

#include <stdexcept>

#include "simulation/machine.h"
#include "simulation/text.h"

namespace simulation {
namespace {

template <class MakeName>
bool CountCall(MakeName make_name) {
  CountStep();
  Injection& injection = Machine::Current().injection;
  if (++injection.calls == injection.failing) {
    injection.failed = make_name();
    return true;
  }
  return injection.for_good && !injection.failed.empty() && injection.failed == make_name();
}

}  // namespace

bool Fails(std::string_view service, std::u16string_view subject) {
  return CountCall([&] { return std::string(service) + (subject.empty() ? "" : " ") + Readable(subject); });
}

bool Fails(std::string_view service, const EFI_GUID& protocol) {
  return CountCall([&] { return std::string(service) + " " + Readable(protocol).substr(0, 8); });
}

void CountStep() {
  Machine& machine = Machine::Current();
  if (++machine.steps > machine.most_steps) throw std::runtime_error("the run does not come to its end");
}

}  // namespace simulation
