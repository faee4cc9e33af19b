// SPDX-License-Identifier: BSD-2-Clause-Patent
// Start of the image: binds the shell interface and the test library, runs the
// selected test, returns to the shell.
#include "module/dispatcher.h"
#include "platform/handles.h"
#include "platform/image.h"
#include "platform/protocols/shell_interface.h"
#include "report/report.h"

namespace mfgtest {
namespace {

using InitializeOperation = decltype(TestLibrary::Initialize);

constinit EFI_HANDLE image_handle = nullptr;
constinit ShellInterface* shell = nullptr;
constinit InitializeOperation library_initialize = nullptr;

// Stands in the library's table for its own Initialize until the first call:
// it completes the descriptor with what the shell knows, puts the library's
// entry back and goes on there.
TestLibraryStatus EFIAPI InitializeWithCommandLine(TestDescriptor* descriptor) {
  descriptor->ImageHandle = image_handle;
  descriptor->Argv = shell->Argv;
  // The EFI 1.x shell keeps a 32-bit count in this field.
  descriptor->Argc = static_cast<std::uint32_t>(shell->Argc);
  TestLib->Initialize = library_initialize;
  return library_initialize(descriptor);
}

// One handle is asked for, so a second provider of the library is refused:
// with two of them nobody could say where the verdict went.
EFI_STATUS BindTestLibrary() {
  EFI_HANDLE provider = nullptr;
  const EFI_STATUS status = platform::LocateOnlyHandle(kTestLibraryProtocolGuid, &provider);
  if (EFI_ERROR(status)) return status;
  return platform::HandleInterface(provider, kTestLibraryProtocolGuid, &TestLib);
}

}  // namespace
}  // namespace mfgtest

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  using namespace mfgtest;
  image_handle = image;
  platform::InitializeImage(image, system_table);

  EFI_STATUS status = platform::HandleInterface(image, kShellInterfaceProtocolGuid, &shell);
  if (EFI_ERROR(status)) return platform::ExitImage(image, status);
  status = BindTestLibrary();
  if (EFI_ERROR(status)) return platform::ExitImage(image, status);

  library_initialize = TestLib->Initialize;
  TestLib->Initialize = InitializeWithCommandLine;
  RunSelectedTest();
  return EFI_SUCCESS;
}
