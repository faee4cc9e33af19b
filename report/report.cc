// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "report/report.h"

namespace mfgtest {

constinit TestLibrary* TestLib = nullptr;

}  // namespace mfgtest
