// SPDX-License-Identifier: BSD-2-Clause-Patent
// What the module's entry defines for the access layers, in an image without it.
#include "report/report.h"

namespace mfgtest {

constinit TestLibrary* TestLib = nullptr;

}  // namespace mfgtest
