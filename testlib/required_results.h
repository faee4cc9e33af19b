// The results that a line has to publish. A test that finds nothing to read may
// pass without a word; what it should have read is named here.
#pragma once

#include "testlib/parameters.h"
#include "testlib/results.h"

namespace testlib {

inline constexpr const char16_t* kRequiredResultsParameter = u"Required_Results";
inline constexpr const char16_t* kMoreRequiredResultsParameter = u"Required_Results_#";

// Notes what the parameters require of the line that runs: keys with commas
// between them, such as "display.cfg:Power supply 1 Serial Number, UUID". False
// when there is no room for so many results.
bool RequireResults(const ParameterStore& parameters, ResultStore& results);

// The verdict on a line: that on its runs, and no pass as long as a required
// result is missing.
Verdict JudgeLine(const Tally& tally, const ResultStore& results);

}  // namespace testlib
