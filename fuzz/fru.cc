// SPDX-License-Identifier: BSD-2-Clause-Patent
// What the FRU devices hold, and what their controller answers.
#include "fuzz/changes.h"
#include "fuzz/hostile_controller.h"
#include "fuzz/targets.h"

namespace fuzz {

void ChangeFru(Input& input, HostileServer& server) {
  const std::uint8_t way = input.Byte();
  if (server.ipmi) server.ipmi->reports_length_of_errors = (way & 1) != 0;
  auto& parameters = server.station.library->parameters;
  if ((way & 2) != 0) parameters[u"SYS_BD_FRU_ID"] = std::u16string(1, static_cast<char16_t>(u'0' + (way >> 4) % 10));
  if ((way & 4) != 0) parameters[u"SYS_BOARDS_PART_NUMBER"] = u"env=PLANE_PART";
  if ((way & 8) != 0) server.controller.oem_code = 11;
  Distort(input, server.controller);
  EditFru(input, server.controller, simulation::kControllerAddress);
}

void FuzzFru(Input input) { RunChanged(input, {0, 34, 38, 39, 41, 42, 43}, ChangeFru); }

}  // namespace fuzz
