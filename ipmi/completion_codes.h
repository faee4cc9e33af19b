// SPDX-License-Identifier: BSD-2-Clause-Patent
// Completion codes in words, for messages.
#pragma once

#include <cstdint>

namespace mfgtest {

// The text of a completion code (IPMI 2.0, "Completion Codes"). A generic code
// has the same text for every command; the others depend on the command.
const char16_t* GetCompletionCodeText(std::uint8_t code, std::uint8_t net_function, std::uint8_t command);

}  // namespace mfgtest
