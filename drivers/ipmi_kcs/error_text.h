// SPDX-License-Identifier: BSD-2-Clause-Patent
#pragma once

#include <array>

namespace ipmi_kcs {

// Why something was refused, as a sentence for the operator.
using ErrorText = std::array<char16_t, 256>;

}  // namespace ipmi_kcs
