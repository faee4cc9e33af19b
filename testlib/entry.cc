// Start and end of the driver: one test library for the system, resident until
// it is unloaded.
#include "platform/clock.h"
#include "platform/image.h"
#include "platform/memory.h"
#include "testlib/library.h"
#include "testlib/output.h"
#include "testlib/run.h"

namespace testlib {

constinit State* state = nullptr;

namespace {

constexpr const char16_t* kVersion = u"1.0";

// An error leaves the driver where it is: what others hold must not go away
// under them.
EFI_STATUS EFIAPI Unload(EFI_HANDLE image) {
  if (state == nullptr) return EFI_SUCCESS;
  if (const EFI_STATUS status = EndBridge(state->bridge); EFI_ERROR(status)) return status;
  if (state->provider != nullptr) {
    platform::UninstallInterface(state->provider, kLineRunProtocolGuid, &state->line_table);
    const EFI_STATUS status = platform::UninstallInterface(state->provider, kTestLibraryProtocolGuid, &state->table);
    if (EFI_ERROR(status)) return status;
  }
  // Nothing of this driver is left to say more.
  (void)ForgetVerdict(image);
  platform::ReleaseBlock(state);
  state = nullptr;
  return EFI_SUCCESS;
}

EFI_STATUS Install(EFI_HANDLE image) {
  state = static_cast<State*>(platform::TakeBlock(sizeof(State)));
  if (state == nullptr) return EFI_OUT_OF_RESOURCES;
  FillTable(state->table);
  FillLineRun(state->line_table);
  EFI_STATUS status = platform::InstallInterface(&state->provider, kTestLibraryProtocolGuid, &state->table);
  if (EFI_ERROR(status)) return status;
  status = platform::InstallInterface(&state->provider, kLineRunProtocolGuid, &state->line_table);
  if (EFI_ERROR(status)) return status;
  if (EFI_LOADED_IMAGE* const loaded = platform::LoadedImage(image); loaded != nullptr) loaded->Unload = Unload;
  return StartBridge(state->bridge, state->provider, PrepareForApplication);
}

}  // namespace
}  // namespace testlib

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  using namespace testlib;
  platform::InitializeImage(image, system_table);
  // The module takes one provider only.
  if (platform::FirstInterface(kTestLibraryProtocolGuid) != nullptr) {
    Say(Colour::kBad, "ERROR: a test library is loaded already; this one is not needed and was not loaded.\n");
    return EFI_ALREADY_STARTED;
  }
  platform::CalibrateClock();
  const EFI_STATUS status = Install(image);
  if (EFI_ERROR(status)) {
    Unload(image);
    return status;
  }
  Say(Colour::kNormal, "testlib %s is loaded. Start a test: mfgtest.efi TEST [NAME=VALUE]... (or --help)\n", kVersion);
  return EFI_SUCCESS;
}
