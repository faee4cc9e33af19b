// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "module/dispatcher.h"

#include "module/catalogue.h"
#include "report/report.h"

// The version stands in the image twice: for the library, and as a marker by
// which a tool finds it in the file.
#define MODULE_VERSION "3.26.1.0001"

namespace mfgtest {

constinit TestDescriptor descriptor{};

namespace {

// Both numbers are given to the library unchanged; their meaning is its own.
constexpr std::uint32_t kSubtestCount = 48;
constexpr std::uint32_t kModuleNumber = 795;

// Only ever written to, so the compiler would drop its text if it might.
[[gnu::used]] constinit char version_marker[] = "version_number=" MODULE_VERSION;

TestLibraryStatus Introduce() {
  // Changes nothing; it keeps the linker from dropping the marker.
  *const_cast<volatile char*>(version_marker) = 'v';
  descriptor.SubtestCount = kSubtestCount;
  descriptor.ModuleNumber = kModuleNumber;
  descriptor.Version = MODULE_VERSION;
  return TestLib->Initialize(&descriptor);
}

void RunTest(std::uint32_t number) {
  const CatalogueEntry* const test = FindTest(number);
  if (test == nullptr) {
    return report::ReportError(ErrorCode::kInvalidTestNumber, "Invalid test number: %d\n", number);
  }
  test->routine(test->argument);
}

}  // namespace

void RunSelectedTest() {
  const TestLibraryStatus status = Introduce();
  if (status == kTestLibrarySuccess) {
    RunTest(descriptor.SelectedTest);
  } else {
    report::DebugPrint(kDebugProgress, "\nFailed to initialize test lib. Code=%x", status);
  }
  TestLib->EndTest();
}

}  // namespace mfgtest
