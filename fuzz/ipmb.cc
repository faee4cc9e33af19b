// SPDX-License-Identifier: BSD-2-Clause-Patent
// Frames from the controllers behind the IPMB, and the bridge that brings them.
#include "fuzz/changes.h"
#include "fuzz/hostile_controller.h"
#include "fuzz/targets.h"

namespace fuzz {

void ChangeIpmb(Input& input, HostileServer& server) {
  const std::uint8_t way = input.Byte();
  const bool secondary = (way & 1) != 0;
  server.station.library->parameters[u"HSBP"] = secondary ? u"2" : u"1";
  if ((way & 2) != 0) server.station.library->parameters[u"BOARD_AREA_OFFSET"] = u"0x1FE";
  server.controller.flags = static_cast<std::uint8_t>(way & 0xFC);
  Distort(input, server.controller);
  EditFru(input, server.controller, secondary ? 0xC2 : 0xC0);
}

void FuzzIpmb(Input input) { RunChanged(input, {38, 39, 0}, ChangeIpmb); }

}  // namespace fuzz
