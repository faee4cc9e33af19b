// SPDX-License-Identifier: BSD-2-Clause-Patent
// The fuzz targets, one for each source of bytes that nobody vouches for. The
// first bytes of an input choose the test, its parameters and its ways; the rest
// is what the source holds.
#pragma once

#include <string_view>

#include "fuzz/input.h"
#include "fuzz/words.h"

namespace fuzz {

void FuzzSmbios(Input input);
void FuzzEventLog(Input input);
void FuzzAcpi(Input input);
void FuzzFru(Input input);
void FuzzIpmb(Input input);
void FuzzVariables(Input input);
void FuzzPci(Input input);
void FuzzParameters(Input input);
void FuzzNetwork(Input input);
void FuzzMixed(Input input);
void FuzzDiscovery(Input input);
void FuzzShellBridge(Input input);
void FuzzOldShell(Input input);
void FuzzLoadOrder(Input input);
void FuzzStart(Input input);
void FuzzBootVariables(Input input);
void FuzzKcs(Input input);
void FuzzNewerTables(Input input);
void FuzzLine(Input input);
void FuzzRecord(Input input);
void FuzzDump(Input input);
void FuzzMfgline(Input input);

struct Target {
  const char* name;
  void (*run)(Input input);
  Vocabulary words = Vocabulary::kNone;
};

inline constexpr Target kTargets[] = {
    {"smbios", FuzzSmbios, Vocabulary::kTables},
    {"event_log", FuzzEventLog},
    {"acpi", FuzzAcpi},
    {"fru", FuzzFru},
    {"ipmb", FuzzIpmb},
    {"variables", FuzzVariables},
    {"pci", FuzzPci},
    {"network", FuzzNetwork},
    {"parameters", FuzzParameters, Vocabulary::kParameters},
    {"mixed", FuzzMixed, Vocabulary::kParameters},
    {"kcs", FuzzKcs},
    {"newer_tables", FuzzNewerTables, Vocabulary::kTables},
    {"line", FuzzLine, Vocabulary::kParameters},
    {"record", FuzzRecord},
    {"discovery", FuzzDiscovery, Vocabulary::kParameters},
    {"shell_bridge", FuzzShellBridge},
    {"old_shell", FuzzOldShell, Vocabulary::kParameters},
    {"load_order", FuzzLoadOrder},
    {"start", FuzzStart, Vocabulary::kParameters},
    {"boot_variables", FuzzBootVariables},
    {"dump", FuzzDump, Vocabulary::kDumps},
    {"mfgline", FuzzMfgline, Vocabulary::kRecords},
};

// Null for none.
constexpr const Target* FindTarget(std::string_view name) {
  for (const Target& one : kTargets) {
    if (name == one.name) return &one;
  }
  return nullptr;
}

}  // namespace fuzz
