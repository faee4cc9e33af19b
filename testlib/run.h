// SPDX-License-Identifier: BSD-2-Clause-Patent
// One run from its command line to its verdict.
#pragma once

#include "platform/protocols/test_library.h"

namespace testlib {

// Reads the command line and the parameters and selects the test. Anything but
// success means that no test runs; the operator was told why.
TestLibraryStatus StartRun(TestDescriptor& descriptor);

// Shows the results and the verdict of the run that is open, and leaves the
// verdict in the shell variable MfgVerdict.
void FinishRun();

// Deletes the verdict of the last run, on behalf of `image`; success when there
// was none.
EFI_STATUS ForgetVerdict(EFI_HANDLE image);

}  // namespace testlib
