// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "report/last_error.h"

namespace mfgtest {

constinit std::array<char16_t, kLastErrorCharacters> last_error{};

}  // namespace mfgtest
