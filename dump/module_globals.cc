// What the module's entry defines for the access layers, in an image without it.
#include "module/report.h"

namespace mfgtest {

constinit TestLibrary* TestLib = nullptr;

}  // namespace mfgtest
