#include "platform/bridges.h"

#include "platform/handles.h"

namespace platform {

EFI_STATUS PutOnRecord(Bridge& bridge, const char16_t* text) {
  bridge.note.text = text;
  return InstallInterface(&bridge.handle, kBridgeNoteProtocolGuid, &bridge.note);
}

EFI_STATUS TakeOffRecord(Bridge& bridge) {
  if (bridge.handle == nullptr) return EFI_SUCCESS;
  const EFI_STATUS status = UninstallInterface(bridge.handle, kBridgeNoteProtocolGuid, &bridge.note);
  if (!EFI_ERROR(status)) bridge.handle = nullptr;
  return status;
}

void TellBridges(void (*tell)(const char16_t* text)) {
  HandleList bridges;
  if (EFI_ERROR(LocateAllHandles(kBridgeNoteProtocolGuid, &bridges))) return;
  for (const EFI_HANDLE handle : bridges.handles) {
    BridgeNote* note = nullptr;
    if (!EFI_ERROR(HandleInterface(handle, kBridgeNoteProtocolGuid, &note))) tell(note->text);
  }
}

}  // namespace platform
