// SPDX-License-Identifier: BSD-2-Clause-Patent
// The SMBIOS identity of a server, as the tests of this folder change it.
#pragma once

#include "simulation/smbios_table.h"

// What follows the string numbers in each structure does not matter to a test
// of identity; it must only be there.
inline simulation::SmbiosTable ServerIdentity() {
  simulation::SmbiosTable table;
  const std::vector<std::uint8_t> bios(20, 0);
  std::vector<std::uint8_t> system = {1, 2, 3, 4};
  system.resize(0x1B - 4);
  std::vector<std::uint8_t> board = {1, 2, 3, 4, 5};
  board.resize(0x0F - 4);
  std::vector<std::uint8_t> chassis = {1, 0x97, 2, 3, 4};
  chassis.resize(0x16 - 4);
  table.Add(0, 0x0000, bios)
      .Add(1, 0x0100, system, {"ACME", "Rack Server", "SYS-PN", "SYS-SN"})
      .Add(2, 0x0200, board, {"Boards Inc", "Main Board", "BRD-PN", "BRD-SN", "BRD-TAG"})
      .Add(3, 0x0300, chassis, {"Cases Ltd", "CHS-PN", "CHS-SN", "CHS-TAG"})
      .Add(127, 0x7F00, {});
  return table;
}
