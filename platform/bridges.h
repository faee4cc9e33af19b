// Bridges that are on the record (platform/protocols/bridge_note.h).
#pragma once

#include "platform/protocols/bridge_note.h"

namespace platform {

// A bridge of ours; `handle` is null while it is not on the record.
struct Bridge {
  EFI_HANDLE handle;
  BridgeNote note;
};

// The text has to stay where it is until the bridge is off the record.
EFI_STATUS PutOnRecord(Bridge& bridge, const char16_t* text);
EFI_STATUS TakeOffRecord(Bridge& bridge);

// Hands the text of each bridge in force to `tell`.
void TellBridges(void (*tell)(const char16_t* text));

}  // namespace platform
