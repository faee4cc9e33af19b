// SPDX-License-Identifier: BSD-2-Clause-Patent
// The fuzz targets, one for each source of bytes that nobody vouches for. The
// first bytes of an input choose the test, its parameters and its ways; the rest
// is what the source holds.
#pragma once

#include "fuzz/input.h"

namespace fuzz {

void FuzzSmbios(Input input);
void FuzzEventLog(Input input);
void FuzzAcpi(Input input);
void FuzzFru(Input input);
void FuzzIpmb(Input input);
void FuzzVariables(Input input);
void FuzzPci(Input input);
void FuzzParameters(Input input);
void FuzzKcs(Input input);
void FuzzNewerTables(Input input);
void FuzzLine(Input input);
void FuzzRecord(Input input);
void FuzzDump(Input input);
void FuzzMfgline(Input input);

struct Target {
  const char* name;
  void (*run)(Input input);
};

inline constexpr Target kTargets[] = {
    {"smbios", FuzzSmbios}, {"event_log", FuzzEventLog},       {"acpi", FuzzAcpi}, {"fru", FuzzFru},
    {"ipmb", FuzzIpmb},     {"variables", FuzzVariables},      {"pci", FuzzPci},   {"parameters", FuzzParameters},
    {"kcs", FuzzKcs},       {"newer_tables", FuzzNewerTables}, {"line", FuzzLine}, {"record", FuzzRecord},
    {"dump", FuzzDump},     {"mfgline", FuzzMfgline},
};

}  // namespace fuzz
