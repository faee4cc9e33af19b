// SPDX-License-Identifier: BSD-2-Clause-Patent
// The firmware's Unicode collation, for English as firmware commonly has it.
#pragma once

#include "platform/protocols/unicode_collation.h"
#include "simulation/machine.h"

namespace simulation {

// Installs itself under the UEFI 2 GUID or the EFI 1.x one.
struct Collation : UnicodeCollation {
  Collation(Machine& machine, const EFI_GUID& protocol);
  Collation(const Collation&) = delete;
  Collation& operator=(const Collation&) = delete;
  ~Collation();

  // How often somebody compared through it.
  unsigned comparisons = 0;

 private:
  Machine& machine_;
  EFI_GUID protocol_;
  EFI_HANDLE handle_;
};

}  // namespace simulation
