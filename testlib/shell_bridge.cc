#include "testlib/shell_bridge.h"

#include "platform/image.h"
#include "platform/protocols/shell.h"
#include "platform/shell.h"
#include "testlib/shell_command.h"

namespace testlib {
namespace {

// The firmware and the shell call back without saying for whom.
constinit ShellBridge* active = nullptr;
constinit ApplicationStarted application_started = nullptr;

// The parent is passed as a pointer to the image handle; some applications
// pass the handle itself.
EFI_HANDLE ParentImage(EFI_HANDLE* parent) {
  if (parent == nullptr) return nullptr;
  return platform::LoadedImage(parent) != nullptr ? static_cast<EFI_HANDLE>(parent) : *parent;
}

// Sets a variable and does nothing else, whatever the command line says: names
// and values come from parameter files and tables, and a shell would take
// "> file" in one of them for its own. A nested shell would keep its own copy of
// the value besides.
EFI_STATUS EFIAPI Execute(EFI_HANDLE* parent, const char16_t* command_line, BOOLEAN) {
  if (command_line == nullptr) return EFI_INVALID_PARAMETER;
  const EFI_HANDLE image = ParentImage(parent);
  SetCommand command;
  if (!ReadSetCommand(command_line, &command)) return EFI_INVALID_PARAMETER;
  return platform::SetShellVariable(image, command.name.data(), command.value.data(), platform::VariableLife::kKept);
}

const char16_t* EFIAPI GetEnv(const char16_t* name) { return platform::ShellVariable(name); }
const char16_t* EFIAPI NoText(const char16_t*) { return nullptr; }
const char16_t* EFIAPI NoProtocolName(const EFI_GUID*, BOOLEAN) { return nullptr; }
void EFIAPI AddNoProtocol(const EFI_GUID*, void*, void*, const char16_t*) {}
EFI_STATUS EFIAPI AddNoCommand(void*, const char16_t*, void*) { return EFI_UNSUPPORTED; }
EFI_STATUS EFIAPI ExpandNoFile(const char16_t*, void*) { return EFI_UNSUPPORTED; }
EFI_STATUS EFIAPI FreeNoFiles(void*) { return EFI_UNSUPPORTED; }

constexpr ShellEnvironment kEnvironment = {
    .Execute = Execute,
    .GetEnv = GetEnv,
    .GetMap = NoText,
    .AddCmd = AddNoCommand,
    .AddProt = AddNoProtocol,
    .GetProt = NoProtocolName,
    .CurDir = NoText,
    .FileMetaArg = ExpandNoFile,
    .FreeFileList = FreeNoFiles,
};

// Gives false when somebody still holds the interface: the slot has to stay
// what it is then.
bool Free(ShellBridge::Slot& slot) {
  const EFI_STATUS status = platform::UninstallInterface(slot.image, kShellInterfaceProtocolGuid, &slot.interface);
  if (status == EFI_ACCESS_DENIED) return false;
  slot = {};
  return true;
}

// An application that ended without a word left only our interface on its
// handle.
void SweepEndedApplications(ShellBridge& bridge) {
  for (ShellBridge::Slot& slot : bridge.slots) {
    if (slot.image != nullptr && platform::LoadedImage(slot.image) == nullptr) Free(slot);
  }
}

ShellBridge::Slot* FindSlot(ShellBridge& bridge, EFI_HANDLE image) {
  for (ShellBridge::Slot& slot : bridge.slots) {
    if (slot.image == image) return &slot;
  }
  return nullptr;
}

void OfferInterface(ShellBridge& bridge, EFI_HANDLE image) {
  ShellParameters* parameters = nullptr;
  if (EFI_ERROR(platform::HandleInterface(image, kShellParametersProtocolGuid, &parameters))) return;
  ShellBridge::Slot* const slot = FindSlot(bridge, nullptr);
  if (slot == nullptr || FindSlot(bridge, image) != nullptr) return;
  slot->interface = {
      .ImageHandle = image,
      .Info = platform::LoadedImage(image),
      .Argv = reinterpret_cast<const char16_t* const*>(parameters->Argv),
      .Argc = parameters->Argc,
      .RedirArgv = nullptr,
      .RedirArgc = 0,
      .StdIn = static_cast<EFI_FILE*>(parameters->StdIn),
      .StdOut = static_cast<EFI_FILE*>(parameters->StdOut),
      .StdErr = static_cast<EFI_FILE*>(parameters->StdErr),
      .ArgInfo = nullptr,
      .EchoOn = FALSE,
  };
  EFI_HANDLE handle = image;
  const EFI_STATUS status = platform::InstallInterface(&handle, kShellInterfaceProtocolGuid, &slot->interface);
  if (!EFI_ERROR(status)) slot->image = image;
}

void EFIAPI OnShellParameters(EFI_EVENT, void*) {
  // First, and whatever fails behind it: an application that then cannot start
  // must not leave the verdict of the one before.
  application_started();
  SweepEndedApplications(*active);
  while (const EFI_HANDLE image = platform::NextWatchedHandle(active->watch)) OfferInterface(*active, image);
}

bool ShellHasOldProtocols() {
  return platform::FirstInterface(kShellEnvironmentProtocolGuid) != nullptr ||
         platform::FirstInterface(kShellInterfaceProtocolGuid) != nullptr;
}

}  // namespace

EFI_STATUS StartBridge(ShellBridge& bridge, EFI_HANDLE provider, ApplicationStarted on_start) {
  active = &bridge;
  application_started = on_start;
  if (!ShellHasOldProtocols()) {
    bridge.environment = kEnvironment;
    const EFI_STATUS status = platform::InstallInterface(&provider, kShellEnvironmentProtocolGuid, &bridge.environment);
    if (EFI_ERROR(status)) return status;
    bridge.provider = provider;
  }
  // An old shell installs no parameters; start.efi does, on any of them.
  const EFI_STATUS status = platform::WatchProtocol(kShellParametersProtocolGuid, OnShellParameters, &bridge.watch);
  // What carries the protocol already is the shell itself, no application.
  while (!EFI_ERROR(status) && platform::NextWatchedHandle(bridge.watch) != nullptr) continue;
  return status;
}

void EndInterface(ShellBridge& bridge, EFI_HANDLE image) {
  if (image == nullptr) return;
  if (ShellBridge::Slot* const slot = FindSlot(bridge, image); slot != nullptr) Free(*slot);
}

EFI_STATUS EndBridge(ShellBridge& bridge) {
  for (ShellBridge::Slot& slot : bridge.slots) {
    if (slot.image != nullptr && !Free(slot)) return EFI_ACCESS_DENIED;
  }
  if (bridge.provider != nullptr) {
    const EFI_STATUS status =
        platform::UninstallInterface(bridge.provider, kShellEnvironmentProtocolGuid, &bridge.environment);
    if (EFI_ERROR(status)) return status;
  }
  bridge.provider = nullptr;
  platform::EndWatch(&bridge.watch);
  return EFI_SUCCESS;
}

}  // namespace testlib
