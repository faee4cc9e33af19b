// SPDX-License-Identifier: BSD-2-Clause-Patent
// Failures on purpose. Every call of the platform that may fail asks here
// first, so that a run can be repeated with any one of its calls failing.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/efi.h"

namespace simulation {

struct Injection {
  // The call that fails, counted from 1; 0 for none.
  std::uint64_t failing = 0;
  // Whether all later calls of the same name fail, too.
  bool for_good = false;

  std::uint64_t calls = 0;
  // The name of the call that failed.
  std::string failed{};
};

// Whether the call of the current machine's platform that begins here fails;
// its name is that of the service and of what it is asked for.
bool Fails(std::string_view service, std::u16string_view subject = {});
bool Fails(std::string_view service, const EFI_GUID& protocol);

// Throws when a run takes more steps than any run that ends.
void CountStep();

}  // namespace simulation
