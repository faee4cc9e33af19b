// The IPMI protocol of newer firmware (edk2, "IpmiProtocol"): one command and
// its response in one call. There is no LUN, and the response begins with the
// completion code.
#pragma once

#include "platform/efi.h"

inline constexpr EFI_GUID kFirmwareIpmiProtocolGuid = {
    0xDBC6381F, 0x5554, 0x4D14, {0x8F, 0xFD, 0x76, 0xD7, 0x87, 0xB8, 0xAC, 0xBF}};

struct FirmwareIpmi {
  // `response_size` holds the capacity of `response` on the way in.
  EFI_STATUS(EFIAPI* SubmitCommand)
  (FirmwareIpmi* self, std::uint8_t net_function, std::uint8_t command, std::uint8_t* request,
   std::uint32_t request_size, std::uint8_t* response, std::uint32_t* response_size);
};

static_assert(sizeof(FirmwareIpmi) == sizeof(void*));
