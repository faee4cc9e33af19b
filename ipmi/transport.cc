// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/transport.h"

#include <algorithm>

#include "ipmi/completion_codes.h"
#include "ipmi/device_names.h"
#include "platform/handles.h"
#include "platform/ipmi_transport.h"
#include "report/last_error.h"
#include "report/report.h"

namespace mfgtest {

namespace {

// What the exchanges of one run share.
struct IpmiSession {
  IpmiTransport* transport = nullptr;  // kept from the first successful lookup
  std::uint8_t sequence = 0;           // of the last bridged request
};
constinit IpmiSession ipmi_session;

constexpr std::size_t kHandleCapacity = 20;
constexpr std::uint32_t kSingleWait = 100;
constexpr std::uint32_t kRetryWait = 300;
constexpr std::uint32_t kSlowDeviceWait = 1300;
constexpr int kAttempts = 5;
constexpr std::uint8_t kNoCompletionCode = 0xFF;

// What the transport hands back. The capacity that a receive is given is what
// the receive before it left.
struct Exchange {
  std::array<std::uint8_t, kIpmiResponseCapacity> data{};
  std::uint32_t length = kIpmiResponseCapacity;
  std::uint8_t completion_code = kNoCompletionCode;
};

bool GetIpmiInterface(IpmiTransport** interface) {
  report::DebugPrint(kDebugProgress, "Get IPMI Interface...\n");
  EFI_HANDLE handles[kHandleCapacity] = {};
  const EFI_STATUS status = platform::LocateHandles(kIpmiTransportProtocolGuid, handles);
  if (status == EFI_NOT_FOUND) {
    *interface = nullptr;
    SetLastError("\nUnable to locate handle for IPMI Protocol.");
    return false;
  }
  if (EFI_ERROR(status)) {
    SetLastError("\nEFI LocateHandle failed (Status=%x).", static_cast<std::uint32_t>(status));
    return false;
  }
  if (EFI_ERROR(platform::HandleInterface(handles[0], kIpmiTransportProtocolGuid, interface))) {
    *interface = nullptr;
    SetLastError("\nUnable to get interface for IPMI Protocol.");
    return false;
  }
  report::DebugPrint(kDebugProgress, "Done.\n");
  return true;
}

bool Send(IpmiCommand command, std::span<const std::uint8_t> request) {
  report::DebugPrint(kDebugIpmi, "\nSend IPMI Cmd to BMC: NetFn=0x%02x, Cmd:0x%02x, ReqData:0x", command.net_function,
                     command.command);
  for (const std::uint8_t byte : request) report::DebugPrint(kDebugIpmi, "%02x ", byte);
  const EFI_STATUS status =
      platform::SendIpmiRequest(ipmi_session.transport, command.net_function, command.command, request);
  if (!EFI_ERROR(status)) return true;
  const EarlierLastError earlier;
  SetLastError("\nFailed to send message to BMC through IMB bus. %s", earlier.Text());
  return false;
}

EFI_STATUS Receive(Exchange* exchange) {
  exchange->length = std::min(exchange->length, kIpmiResponseCapacity);
  return platform::ReceiveIpmiResponse(ipmi_session.transport, &exchange->completion_code, exchange->data.data(),
                                       &exchange->length);
}

void FailToReceive() {
  const EarlierLastError earlier;
  SetLastError("\nFailed to receive message from BMC through IMB bus. %s", earlier.Text());
}

void FailOnCompletionCode(IpmiCommand command, std::uint8_t code) {
  const EarlierLastError earlier;
  const char16_t* const text = GetCompletionCodeText(code, command.net_function, command.command);
  SetLastError("\nCompletion Code: 0x%02x (%s). %s", code, text, earlier.Text());
}

void TakeResponse(const Exchange& exchange, IpmiResponse* response) {
  report::DebugPrint(kDebugIpmi, ", RespData:0x");
  response->length = std::min(exchange.length, kIpmiResponseCapacity);
  for (std::uint32_t i = 0; i < response->length; ++i) {
    response->data[i] = exchange.data[i];
    report::DebugPrint(kDebugIpmi, "%02x ", response->data[i]);
  }
  report::DebugPrint(kDebugProgress, "\n");
}

bool AddressesSlowDevice(std::span<const std::uint8_t> request) { return !request.empty() && IsBackplane(request[0]); }

}  // namespace

void ForgetIpmiSession() { ipmi_session = {}; }

// Kept: the sequence runs to 64, which the field's 6 bits show as 0, and goes
// on with 2.
std::uint8_t NextIpmbSequence() {
  const bool at_end = ipmi_session.sequence > 63;
  ipmi_session.sequence = at_end ? std::uint8_t{2} : static_cast<std::uint8_t>(ipmi_session.sequence + 1);
  return ipmi_session.sequence;
}

bool IsIpmiAvailable() { return ipmi_session.transport != nullptr || GetIpmiInterface(&ipmi_session.transport); }

bool RequireIpmi(Mode mode) {
  if (IsIpmiAvailable()) return true;
  if (mode == Mode::kProbe) {
    SetLastError("Failed to locate IPMI protocol. Make sure IPMI.EFI is loaded");
  } else {
    report::ReportError(ErrorCode::kIpmiUnavailable, "Failed to locate IPMI protocol. Make sure IPMI.EFI is loaded.\n");
  }
  return false;
}

bool SendIpmiCommand(IpmiCommand command, std::span<const std::uint8_t> request, IpmiResponse* response) {
  if (!IsIpmiAvailable() || !Send(command, request)) return false;
  TestLib->Delay(kSingleWait);
  Exchange exchange;
  if (EFI_ERROR(Receive(&exchange))) {
    FailToReceive();
    return false;
  }
  if (exchange.completion_code != 0) {
    FailOnCompletionCode(command, exchange.completion_code);
    return false;
  }
  TakeResponse(exchange, response);
  return true;
}

bool SendIpmiCommandWithRetry(IpmiCommand command, std::span<const std::uint8_t> request, IpmiResponse* response,
                              std::uint8_t* completion_code) {
  if (!IsIpmiAvailable()) return false;
  const bool slow = AddressesSlowDevice(request);
  // Kept: capacity and completion code are preset once, not for every attempt.
  Exchange exchange;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const bool last = attempt == kAttempts - 1;
    if (!Send(command, request)) return false;
    TestLib->Delay(slow ? kSlowDeviceWait : kRetryWait);
    const EFI_STATUS status = Receive(&exchange);
    if (EFI_ERROR(status)) {
      if (slow) report::DebugPrint(kDebugProgress, "\nGet Massage error %lx\n", status);
      if (last) FailToReceive();
      if (last) return false;
    }
    if (exchange.completion_code == 0) {
      *completion_code = exchange.completion_code;
      TakeResponse(exchange, response);
      return true;
    }
    if (slow) {
      const std::uint64_t code = exchange.completion_code;
      report::DebugPrint(kDebugProgress, "\nCompletion Code error %lx\n", code);
    }
    if (last) FailOnCompletionCode(command, exchange.completion_code);
  }
  return false;
}

}  // namespace mfgtest
