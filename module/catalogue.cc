// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "module/catalogue.h"

#include <algorithm>

#include "guid/eui64.h"
#include "guid/guid_variables.h"
#include "guid/guid_writing.h"
#include "guid/system_guid.h"
#include "ipmi/backplane_records.h"
#include "ipmi/board_records.h"
#include "ipmi/board_strings.h"
#include "ipmi/end_markers.h"
#include "ipmi/manufacturing_date.h"
#include "module/autosense.h"
#include "net/mac_access.h"
#include "smbios/display.h"
#include "smbios/event_log.h"
#include "smbios/firmware_id.h"
#include "smbios/identity.h"
#include "smbios/memory_devices.h"

namespace mfgtest {
namespace {

// Test 26 runs nothing: a station uses it to see the module start and end.
void RunNothing(std::uint32_t) {}

// Routines that give a result: it is for Autosense, the test library has heard
// what counts.
template <bool (*Routine)(Mode mode)>
void Run(std::uint32_t) {
  Routine(Mode::kTest);
}
template <auto(*Routine)()>
void Run(std::uint32_t) {
  Routine();
}

// clang-format off
constexpr CatalogueEntry kCatalogue[] = {
    {0, Run<Autosense>, 0},
    {1, VerifySystemString, 0},
    {2, VerifySystemString, 1},
    {3, VerifySystemString, 2},
    {4, VerifySystemString, 3},
    {5, VerifyBoardString, 0},
    {6, VerifyBoardString, 1},
    {7, VerifyBoardString, 2},
    {8, VerifyBoardString, 3},
    {9, VerifyChassisString, 0},
    {10, VerifyChassisString, 1},
    {11, VerifyChassisString, 2},
    {12, VerifyChassisString, 3},
    {13, VerifyChassisString, 4},
    {14, Run<VerifyGuid>, 0},
    {20, Run<DisplaySmbiosEntryPoint>, 0},
    {21, Run<DisplaySystemInformation>, 0},
    {22, Run<BrowseSmbiosStructures>, 0},
    {23, Run<DisplayBaseBoardInformation>, 0},
    {24, Run<DisplayBiosInformation>, 0},
    {25, Run<DisplayChassisInformation>, 0},
    {26, RunNothing, 0},
    {27, Run<DisplayAllMac>, 0},
    {28, Run<WriteGuid>, 0},
    {29, Run<CopyGuidToEnvironment>, 0},
    {30, Run<DumpFlashGuid>, 0},
    {31, Run<WriteMfgSystemUuid>, 0},
    {32, Run<WriteMfg1394Uuid>, 0},
    {33, Run<Verify1394Uuid>, 0},
    {34, Run<VerifyMfgDate>, 0},
    {35, Run<VerifyBiosId>, 0},
    {36, Run<VerifyMemoryDevices>, 0},
    {37, Run<VerifyEventLog>, 0},
    {38, Run<VerifySysBoardMfgDate>, 0},
    {39, Run<VerifyFruBoardStrings>, 0},
    {40, Run<VerifyOemBiosString>, 0},
    {41, Run<ReadFruBoardRecords>, 0},
    {42, Run<ReadBackplaneFruRecords>, 0},
    {43, Run<VerifyFruEndMarkers>, 0},
};
// clang-format on

static_assert(std::ranges::adjacent_find(kCatalogue, std::ranges::greater_equal{}, &CatalogueEntry::number) ==
                  std::ranges::end(kCatalogue),
              "test numbers are unique and sorted");

}  // namespace

std::span<const CatalogueEntry> Catalogue() { return kCatalogue; }

const CatalogueEntry* FindTest(std::uint32_t number) {
  const auto* const found = std::ranges::lower_bound(kCatalogue, number, {}, &CatalogueEntry::number);
  return found != std::ranges::end(kCatalogue) && found->number == number ? found : nullptr;
}

}  // namespace mfgtest
