// SPDX-License-Identifier: BSD-2-Clause-Patent
// Shows the operations of a run as transcript lines, when that was asked for.
#pragma once

#include "testlib/transcript.h"

namespace testlib {

// Shows the call's line, in pieces that a console of 80 columns does not wrap:
// "@ " begins a line, "@+" goes on with it.
void Trace(const TranscriptCall& call);

}  // namespace testlib
