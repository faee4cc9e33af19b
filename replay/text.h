// SPDX-License-Identifier: BSD-2-Clause-Patent
// Text of the host (UTF-8) and of the firmware (UCS-2), and numbers as text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace replay {

// What is no UTF-8, or needs more than UCS-2, becomes U+FFFD.
std::u16string FromUtf8(std::string_view text);
std::string ToUtf8(std::u16string_view text);

// 0x and hexadecimal digits.
std::string Hexadecimal(std::uint64_t number);

}  // namespace replay
