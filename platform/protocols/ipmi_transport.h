// SPDX-License-Identifier: BSD-2-Clause-Patent
// The platform firmware's IPMI transport protocol: one request to the
// management controller, one response from it. ipmi_kcs.efi offers it on
// machines whose firmware does not.
#pragma once

#include "platform/efi.h"

inline constexpr EFI_GUID kIpmiTransportProtocolGuid = {
    0x767F1800, 0x91C2, 0x11D3, {0x93, 0x98, 0x00, 0x80, 0xC7, 0x2A, 0x36, 0xC6}};

struct IpmiTransport {
  void* unused0;
  EFI_STATUS(EFIAPI* SendIpmiRequest)
  (IpmiTransport* self, std::uint8_t net_function, std::uint16_t lun, std::uint8_t command, const std::uint8_t* request,
   std::uint32_t request_length);
  // The response's header goes to three outputs of at most 8 bytes each, its
  // completion code and its data apart from them. `response_length` holds the
  // capacity of `response` on the way in.
  EFI_STATUS(EFIAPI* ReceiveIpmiResponse)
  (IpmiTransport* self, void* net_function, void* lun, void* command, std::uint8_t* completion_code,
   std::uint8_t* response, std::uint32_t* response_length);
};

static_assert(offsetof(IpmiTransport, SendIpmiRequest) == 8);
static_assert(offsetof(IpmiTransport, ReceiveIpmiResponse) == 16);
