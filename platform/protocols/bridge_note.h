// What stands on a handle of its own as long as one of our drivers offers
// something in another form than firmware does: a bridge. A value that was read
// through one is the firmware's newer one, so reports name it.
#pragma once

#include "platform/efi.h"

inline constexpr EFI_GUID kBridgeNoteProtocolGuid = {
    0xD04B40E6, 0xE2BD, 0x44B3, {0x92, 0x2A, 0x5B, 0x9C, 0xEB, 0x0B, 0xA6, 0x02}};

struct BridgeNote {
  const char16_t* text;  // one sentence without a full stop, the driver's
};

static_assert(sizeof(BridgeNote) == sizeof(void*));
