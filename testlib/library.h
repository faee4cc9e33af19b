// SPDX-License-Identifier: BSD-2-Clause-Patent
// The operations of the test library.
#pragma once

#include "platform/station_version.h"
#include "testlib/state.h"

namespace testlib {

inline constexpr const char16_t* kLibraryVersion = u"" STATION_VERSION;

// Fills the table of operations.
void FillTable(TestLibrary& table);

// Makes the start of an application safe: an earlier verdict is gone, and the
// table is as it was installed, whatever a crashed module left in it.
void PrepareForApplication();

}  // namespace testlib
