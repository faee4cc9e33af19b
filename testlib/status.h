// SPDX-License-Identifier: BSD-2-Clause-Patent
// What the operations answer when they do not succeed. Success and the buffer
// that is too small are fixed by the protocol; tests treat every other value
// alike, so the rest is for whoever reads a transcript.
#pragma once

#include "platform/protocols/test_library.h"

namespace testlib {

inline constexpr TestLibraryStatus kNotFound = 1;
inline constexpr TestLibraryStatus kNotANumber = 2;
inline constexpr TestLibraryStatus kCommandLineRefused = 3;
inline constexpr TestLibraryStatus kNothingToRun = 4;
inline constexpr TestLibraryStatus kDoesNotApply = 5;
inline constexpr TestLibraryStatus kUnsupported = 7;

}  // namespace testlib
