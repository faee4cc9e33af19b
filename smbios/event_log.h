// SPDX-License-Identifier: BSD-2-Clause-Patent
// Test 37: the system event log, judged.
#pragma once

#include <cstdint>

#include "report/mode.h"

namespace mfgtest {

// Test 37: every record of the system event log (SMBIOS type 15) is one that
// the line has declared as expected. As a probe it only gives whether there is
// a type 15 structure.
bool VerifyEventLog(Mode mode);

// Whether the parameters "Event_Mask_00" and so on hold this log data: 0 when
// one does, 2 when none does.
int MatchEventMask(std::uint64_t log_data);

}  // namespace mfgtest
