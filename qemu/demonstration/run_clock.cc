// A clock for runs of the module on a machine whose time stamp counter counts
// instructions: from StartImage to EndTest, with the share of Initialize, in
// which the library reads files, and the waits that the module asked for.
#include "platform/console.h"
#include "platform/format.h"
#include "platform/handles.h"
#include "platform/image.h"
#include "platform/protocols/test_library.h"

namespace {

struct RunClock {
  std::uint64_t start;
  std::uint64_t initialize;
  std::uint64_t end;  // 0 until EndTest
  std::uint64_t wait_milliseconds;
};

constinit EFI_IMAGE_START start_image = nullptr;
constinit TestLibrary library{};  // its own entries
constinit RunClock run_clock{};

// A line run, when this is loaded before the test library: start.efi and all that it starts.
constinit unsigned images_inside = 0;
constinit std::uint64_t line_wait_milliseconds = 0;

std::uint64_t Now() { return __builtin_ia32_rdtsc(); }

TestLibraryStatus EFIAPI Initialize(TestDescriptor* descriptor) {
  const std::uint64_t start = Now();
  const TestLibraryStatus status = library.Initialize(descriptor);
  run_clock.initialize = Now() - start;
  return status;
}

// Counted, not waited: emulated, a second of waiting takes several. A line waits,
// for it shows how long it still will.
void EFIAPI Delay(std::uint32_t milliseconds) {
  run_clock.wait_milliseconds += milliseconds;
  line_wait_milliseconds += milliseconds;
  if (images_inside > 0) library.Delay(milliseconds);
}

void EFIAPI EndTest() {
  run_clock.end = Now();
  library.EndTest();
}

// The firmware's timer interrupts the run every so often: runs that begin at
// the same point between two interrupts have them in the same places.
void AwaitTimerTick() {
  EFI_EVENT tick = nullptr;
  if (EFI_ERROR(BS->CreateEvent(EVT_TIMER, TPL_CALLBACK, nullptr, nullptr, &tick))) return;
  if (!EFI_ERROR(BS->SetTimer(tick, TimerRelative, 1))) {
    while (BS->CheckEvent(tick) == EFI_NOT_READY) continue;
  }
  BS->CloseEvent(tick);
}

void Show() {
  std::array<char16_t, 160> line;
  FormatText(line, "CLOCK run %lu initialize %lu waits %lu\n", run_clock.end - run_clock.start, run_clock.initialize,
             run_clock.wait_milliseconds);
  platform::Write(line.data());
}

void ShowLine(std::uint64_t run) {
  std::array<char16_t, 160> line;
  FormatText(line, "\nCLOCK line %lu waits %lu\n", run, line_wait_milliseconds);
  platform::Write(line.data());
}

EFI_STATUS StartOutermost(EFI_HANDLE image, UINTN* size, CHAR16** data) {
  ++images_inside;
  const std::uint64_t start = Now();
  const EFI_STATUS status = start_image(image, size, data);
  const std::uint64_t run = Now() - start;
  if (--images_inside == 0) ShowLine(run);
  return status;
}

EFI_STATUS EFIAPI StartImage(EFI_HANDLE image, UINTN* size, CHAR16** data) {
  auto* const table = platform::FirstInterface<TestLibrary>(kTestLibraryProtocolGuid);
  if (table == nullptr) return StartOutermost(image, size, data);
  library = *table;
  table->Initialize = Initialize;
  table->Delay = Delay;
  table->EndTest = EndTest;
  run_clock = {};
  if (images_inside == 0) AwaitTimerTick();
  run_clock.start = Now();
  const EFI_STATUS status = start_image(image, size, data);
  *table = library;
  if (run_clock.end != 0 && images_inside == 0) Show();
  return status;
}

}  // namespace

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  platform::InitializeImage(image, system_table);
  start_image = BS->StartImage;
  BS->StartImage = StartImage;
  return EFI_SUCCESS;
}
