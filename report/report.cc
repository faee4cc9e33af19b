#include "report/report.h"

namespace mfgtest {

constinit TestLibrary* TestLib = nullptr;

}  // namespace mfgtest
