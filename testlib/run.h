// One run from its command line to its verdict.
#pragma once

#include "platform/protocols/test_library.h"
#include "testlib/parameters.h"

namespace testlib {

// Reads the command line and the parameters and selects the test. Anything but
// success means that no test runs; the operator was told why.
TestLibraryStatus StartRun(TestDescriptor& descriptor);

// The run that is open cannot begin; the operator is told why. Gives false.
bool Refuse(const char16_t* error);

// Reads the command line of a module, and the parameters as its run takes them;
// refuses what cannot be taken.
bool ReadParameters(EFI_HANDLE module, std::span<const char16_t* const> arguments);

// Ends the run that is open as an error, for this reason.
void BreakRun(const char16_t* reason);

// Shows the results and the verdict of the run that is open, and leaves the
// verdict in the shell variable MfgVerdict.
void FinishRun();

// Deletes the verdict of the last run, on behalf of `image`; success when there
// was none.
EFI_STATUS ForgetVerdict(EFI_HANDLE image);

}  // namespace testlib
