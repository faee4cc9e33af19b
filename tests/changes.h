// SPDX-License-Identifier: BSD-2-Clause-Patent
// How a server differs from the standard one, with the words for it.
#pragma once

#include <functional>

#include "simulation/reference_server.h"
#include "simulation/text.h"

struct Change {
  std::string name;
  std::function<void(simulation::ReferenceServer&)> apply;
};

inline Change operator+(const Change& one, const Change& other) {
  return {one.name + ", " + other.name, [=](simulation::ReferenceServer& s) { one.apply(s), other.apply(s); }};
}

inline Change With(const char16_t* parameter, const std::u16string& value) {
  return {simulation::Readable(parameter + (u" = " + value)),
          [=](simulation::ReferenceServer& s) { s.station.library->parameters[parameter] = value; }};
}
inline Change Without(const char16_t* parameter) {
  return {"no " + simulation::Readable(parameter),
          [=](simulation::ReferenceServer& s) { s.station.library->parameters.erase(parameter); }};
}

// What the operator types.
inline Change Typing(const std::string& name, const std::deque<std::u16string>& answers) {
  return {name, [=](simulation::ReferenceServer& s) { s.station.library->answers = answers; }};
}

// Structures of this type become inactive ones.
inline Change WithoutStructure(std::uint8_t type) {
  return {"no structure of type " + std::to_string(type), [=](simulation::ReferenceServer& s) {
            std::vector<std::uint8_t>& table = s.station.smbios.bytes;
            for (std::size_t at = 0; at < table.size();) {
              if (table[at] == type) table[at] = 126;
              at += table[at + 1];
              while (table[at] != 0 || table[at + 1] != 0) ++at;
              at += 2;
            }
          }};
}
inline Change WithTable(const std::string& name, const simulation::SmbiosTable& table) {
  return {name, [=](simulation::ReferenceServer& s) { s.station.smbios = table; }};
}
inline Change Placed(const std::string& name, const simulation::SmbiosPlacement& placement) {
  return {name, [=](simulation::ReferenceServer& s) { s.station.smbios_placement = placement; }};
}

inline Change WithVariable(const std::u16string& name, const std::u16string& text, const EFI_GUID& vendor) {
  return {simulation::Readable(u"variable " + name + u" = " + text), [=](simulation::ReferenceServer& s) {
            auto& variables = s.station.machine.variables;
            std::erase_if(variables.variables, [&](const auto& variable) { return variable.name == name; });
            variables.Add(name, simulation::TextData(text), vendor);
          }};
}
inline Change UnreadableVariable(const std::u16string& name, const EFI_GUID& vendor) {
  return {simulation::Readable(u"unreadable variable " + name), [=](simulation::ReferenceServer& s) {
            for (auto& variable : s.station.machine.variables.variables) {
              if (variable.name == name && SameGuid(variable.vendor, vendor)) variable.read_status = EFI_DEVICE_ERROR;
            }
          }};
}

inline Change WithoutMemoryFor(std::size_t bytes) {
  return {"no memory for " + std::to_string(bytes) + " bytes",
          [=](simulation::ReferenceServer& s) { s.station.machine.memory.refused_size = bytes; }};
}
inline Change NobodyGets(const std::string& what, const EFI_GUID& protocol) {
  return {"nobody gets " + what, [=](simulation::ReferenceServer& s) {
            s.station.machine.handles.RefuseInterface(protocol, EFI_ACCESS_DENIED);
          }};
}
// A search for it finds nothing, and says that all is well.
inline Change FoundNowhere(const std::string& what, const EFI_GUID& protocol) {
  return {what + " found nowhere", [=](simulation::ReferenceServer& s) { s.station.machine.found_nowhere = protocol; }};
}
