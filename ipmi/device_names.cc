// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/device_names.h"

#include <span>

namespace mfgtest {
namespace {

constexpr const char16_t* kStandardNames[] = {
    u"Baseboard",
    u"Power distribution",
    u"Power supply 1",
    u"Power supply 2",
    u"Front panel",
    u"SAS backplane 1",
    u"SAS backplane 2",
    u"SAS backplane 3",
    u"HSBP discrete EEPROM",
    u"IO module",
    u"SAS module",
    u"Riser 1",
    u"Riser 2",
    u"Riser 3",
    u"Riser 4",
    u"Fan board",
    u"Fan board LHP",
    u"Unknown",
    u"Primary Hot Swap Backplane",
    u"Secondary Hot Swap Backplane",
};

constexpr const char16_t* kSecondTableNames[] = {
    u"Baseboard",
    u"IO riser board",
    u"Memory riser board A1",
    u"Memory riser board A2",
    u"Memory riser board B1",
    u"Memory riser board B2",
    u"Memory riser board C1",
    u"Memory riser board C2",
    u"Memory riser board D1",
    u"Memory riser board D2",
    u"Power distribution board",
    u"Power supply 1",
    u"Power supply 2",
    u"Power supply 3",
    u"Power supply 4",
    u"Front panel fan board",
    u"SAS backplane",
};

static_assert(std::size(kStandardNames) == 20);
static_assert(std::size(kSecondTableNames) == 17);

}  // namespace

const char16_t* FruDeviceName(std::uint8_t id, FruNames names) {
  const std::span<const char16_t* const> table =
      names == FruNames::kSecondTable ? std::span<const char16_t* const>(kSecondTableNames) : kStandardNames;
  return id < table.size() ? table[id] : u"Unknown";
}

}  // namespace mfgtest
