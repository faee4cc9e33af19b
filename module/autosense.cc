// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "module/autosense.h"

#include <optional>

#include "guid/eui64.h"
#include "guid/guid_variables.h"
#include "guid/system_guid.h"
#include "ipmi/backplane_records.h"
#include "ipmi/board_records.h"
#include "ipmi/board_strings.h"
#include "ipmi/manufacturing_date.h"
#include "module/identity_sensing.h"
#include "report/last_error.h"
#include "report/parameters.h"
#include "report/report.h"
#include "smbios/event_log.h"
#include "smbios/firmware_id.h"
#include "smbios/memory_devices.h"

namespace mfgtest {
namespace {

// What a probe's result means: a message, with the reason in it or without, and
// the tests that do not apply.
using Quoting = CheckedFormat<const char16_t*>;
using Plain = CheckedFormat<>;
struct Consequence {
  std::optional<Quoting> message_with_reason;
  std::optional<Plain> message;
  std::uint32_t first_removed = 0;
  std::uint32_t last_removed = 0;
};

struct Probe {
  bool (*routine)(Mode mode);
  Consequence when_false;
  Consequence when_true = {};
};

// clang-format off
constexpr Probe kProbes[] = {
    {VerifyGuid, {Quoting("Autosense():: Guid not valid, removing subtest 14.\n%s\n"), {}, 14, 14}},
    {WriteMfgSystemUuid, {{}, Plain("Autosense():: No Marwick product being identified, removing subtest 31.\r\n"), 31, 31},
                         {{}, Plain("Autosense():: Marwick product being identified, removing subtests 28, 29 & 30.\r\n"), 28, 30}},
    {Verify1394Uuid, {Quoting("Autosense():: %s 1394 controller not found, removing subtest 33.\r\n"), {}, 33, 33}},
    {VerifyMfgDate, {Quoting("Autosense():: %s.\nRemoving subtest 34.\r\n"), {}, 34, 34}},
    {VerifyBiosId, {{}, Plain("Autosense():: BIOS ID not found, removing subtest 35.\r\n"), 35, 35}},
    {VerifyMemoryDevices, {{}, Plain("Autosense():: Memory Device not found, removing subtest 36.\r\n"), 36, 36}},
    {VerifyEventLog, {{}, Plain("Autosense():: SMBIOS Type 15 not found, removing subtest 37.\r\n"), 37, 37}},
    {VerifySysBoardMfgDate, {Quoting("Autosense():: %s.\nRemoving subtest 38.\r\n"), {}, 38, 38}},
    {VerifyFruBoardStrings, {Quoting("Autosense():: %s.\nRemoving subtest 39.\r\n"), {}, 39, 39}},
};
// clang-format on

void RunProbe(const Probe& probe) {
  const Consequence& consequence = probe.routine(Mode::kProbe) ? probe.when_true : probe.when_false;
  if (consequence.message_with_reason) report::LogMessage(*consequence.message_with_reason, LastError());
  if (consequence.message) report::LogMessage(*consequence.message);
  if (consequence.first_removed != 0) RemoveTests(consequence.first_removed, consequence.last_removed);
}

void ReadFruRecords() {
  std::uint32_t delay_seconds = 0;
  // Kept: the delay is whatever the library left here, with whatever status.
  (void)ReadNumber(u"HSBP_FRU_DelayTime", &delay_seconds);
  report::LogMessage("Reading all chassis boards FRU information\n");
  ReadFruBoardRecords();
  report::LogMessage("Reading all HSBP boards FRU information\n");
  ReadBackplaneFruRecords();
  TestLib->Delay(delay_seconds * 1000);
}

}  // namespace

void Autosense() {
  ReadFruRecords();
  SenseIdentity();
  for (const Probe& probe : kProbes) RunProbe(probe);
  report::LogMessage("\n");
}

}  // namespace mfgtest
