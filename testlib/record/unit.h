// SPDX-License-Identifier: BSD-2-Clause-Patent
// Which unit a record is about.
#pragma once

#include "platform/network_addresses.h"
#include "testlib/parameters.h"
#include "testlib/record/limits.h"

namespace testlib {

using UnitText = std::array<char16_t, 128>;

// What the firmware's SMBIOS table says of the machine, without trailing blanks;
// what is missing is empty.
struct MachineIdentity {
  UnitText manufacturer{};
  UnitText product{};
  UnitText serial_number{};
  UnitText firmware_version{};
};

MachineIdentity ReadMachineIdentity();

// A serial number that the order gives unit by unit counts more than the one
// that the machine holds, which is under test.
struct Unit {
  VariableText id{};        // never empty
  VariableText expected{};  // the serial number of the order; empty for none
  std::array<char16_t, 96> from{};
};

Unit IdentifyUnit(const ParameterStore& parameters, const MachineIdentity& machine, bool was_asked);

}  // namespace testlib
