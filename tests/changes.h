// SPDX-License-Identifier: BSD-2-Clause-Patent
// How a server differs from the standard one, for tables of what then comes of a
// run.
#pragma once

#include <functional>

#include "simulation/reference_server.h"
#include "simulation/text.h"

using Change = std::function<void(simulation::ReferenceServer&)>;

inline Change With(const char16_t* parameter, const std::u16string& value) {
  return [=](simulation::ReferenceServer& s) { s.station.library->parameters[parameter] = value; };
}
inline Change Without(const char16_t* parameter) {
  return [=](simulation::ReferenceServer& s) { s.station.library->parameters.erase(parameter); };
}
inline Change And(const Change& one, const Change& other) {
  return [=](simulation::ReferenceServer& s) { one(s), other(s); };
}

// Structures of this type become inactive ones.
inline Change WithoutStructure(std::uint8_t type) {
  return [=](simulation::ReferenceServer& s) {
    std::vector<std::uint8_t>& table = s.station.smbios.bytes;
    for (std::size_t at = 0; at < table.size();) {
      if (table[at] == type) table[at] = 126;
      at += table[at + 1];
      while (table[at] != 0 || table[at + 1] != 0) ++at;
      at += 2;
    }
  };
}
inline Change WithTable(const simulation::SmbiosTable& table) {
  return [=](simulation::ReferenceServer& s) { s.station.smbios = table; };
}
inline void WithoutEntryPoint(simulation::ReferenceServer& s) {
  s.station.smbios_placement.entry = simulation::SmbiosPlacement::Entry::kNowhere;
}

inline Change WithVariable(const char16_t* name, const std::u16string& text, const EFI_GUID& vendor) {
  return [=](simulation::ReferenceServer& s) {
    std::erase_if(s.station.machine.variables.variables, [&](const auto& variable) { return variable.name == name; });
    s.station.machine.variables.Add(name, simulation::TextData(text), vendor);
  };
}
inline Change WithoutVariables() {
  return [](simulation::ReferenceServer& s) { s.station.machine.variables.variables.clear(); };
}
inline Change UnreadableVariable(const char16_t* name, const EFI_GUID& vendor) {
  return [=](simulation::ReferenceServer& s) {
    for (auto& variable : s.station.machine.variables.variables) {
      if (variable.name == name && SameGuid(variable.vendor, vendor)) variable.read_status = EFI_DEVICE_ERROR;
    }
  };
}
inline void WriteProtectedVariables(simulation::ReferenceServer& s) {
  s.station.machine.variables.write_status = EFI_WRITE_PROTECTED;
}

inline Change WithoutMemoryFor(std::size_t bytes) {
  return [=](simulation::ReferenceServer& s) { s.station.machine.memory.refused_size = bytes; };
}
inline Change NobodyGets(const EFI_GUID& protocol) {
  return
      [=](simulation::ReferenceServer& s) { s.station.machine.handles.RefuseInterface(protocol, EFI_ACCESS_DENIED); };
}
// A search for it finds nothing, and says that all is well.
inline Change FoundNowhere(const EFI_GUID& protocol) {
  return [=](simulation::ReferenceServer& s) { s.station.machine.found_nowhere = protocol; };
}
