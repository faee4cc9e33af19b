// Keeps a wrong address from costing a board: the processor starts at the top
// of the flash, and a board whose block there was rewritten starts no more.
#pragma once

#include "testlib/parameters.h"

namespace testlib {

inline constexpr std::uint32_t kGuidWriting = 28;
inline constexpr const char16_t* kAllowTopOfFlashParameter = u"Allow_Top_Of_Flash";

// Whether the test may start with these parameters. False, with the reason in
// `error`, for the one that rewrites the block at FlashAddress when that is the
// block of the reset vector and nobody said that it is meant.
bool MayWriteFlash(std::uint32_t test, const ParameterStore& parameters, ErrorText& error);

}  // namespace testlib
