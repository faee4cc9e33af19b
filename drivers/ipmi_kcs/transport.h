// The IPMI transport protocol over a KCS interface, or over the firmware's own
// IPMI protocol.
#pragma once

#include "drivers/ipmi_kcs/registers.h"
#include "platform/protocols/firmware_ipmi.h"
#include "platform/protocols/ipmi_transport.h"

namespace ipmi_kcs {

// The transport over these registers. There is one for the driver: another
// call takes it to other registers.
//
// SendIpmiRequest does the whole exchange and keeps the response for the next
// ReceiveIpmiResponse. Callers wait up to 1.3 s between the two; over that time
// the interface is idle, and whoever else uses it, or never comes to receive,
// disturbs nothing. Failures are told where callers look for them: what keeps
// the controller from taking the request is a failure to send, anything later
// one to receive.
//
// SendIpmiRequest: EFI_INVALID_PARAMETER for a field wider than IPMI has it or
// a request beyond 510 bytes; EFI_TIMEOUT when the controller does not take the
// request in 5 s; EFI_DEVICE_ERROR when it refuses it, twice.
// ReceiveIpmiResponse: EFI_NOT_READY without a response; EFI_TIMEOUT when it did
// not come within the 5 s; EFI_DEVICE_ERROR when the controller broke off or
// answered something else. Outputs stay as they were on failure. Data beyond
// the given capacity are cut. Header outputs are one byte each and may be null.
IpmiTransport* OpenTransport(const Registers& registers);

// The same over that protocol, which knows no LUN but 0 (EFI_UNSUPPORTED), and
// whose failures, wherever they come from, are failures to send.
IpmiTransport* OpenTransport(FirmwareIpmi* firmware);

}  // namespace ipmi_kcs
