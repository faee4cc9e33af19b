// One run from its command line to its verdict.
#pragma once

#include "platform/protocols/test_library.h"
#include "testlib/parameters.h"

namespace testlib {

// Reads the command line and the parameters and selects the test. Anything but
// success means that no test runs; the operator was told why.
TestLibraryStatus StartRun(TestDescriptor& descriptor);

// Reads the command line of a module, and the parameters as its run takes them.
// False, with the reason in `error`, when they cannot be taken.
bool ReadParameters(EFI_HANDLE module, std::span<const char16_t* const> arguments, ErrorText& error);

// Ends the run that is open as an error, for this reason.
void BreakRun(const char16_t* reason);

// Shows the results and the verdict of the run that is open, and leaves the
// verdict in the shell variable MfgVerdict.
void FinishRun();

// Deletes the verdict of the last run, on behalf of `image`.
void ForgetVerdict(EFI_HANDLE image);

}  // namespace testlib
