// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/bridge.h"

#include <algorithm>

#include "ipmi/completion_codes.h"
#include "platform/byte_fields.h"
#include "report/last_error.h"
#include "report/report.h"

namespace mfgtest {
namespace {

constexpr IpmiCommand kClearMessageFlags{0x06, 0x30};
constexpr IpmiCommand kGetMessageFlags{0x06, 0x31};
constexpr IpmiCommand kGetMessage{0x06, 0x33};
constexpr IpmiCommand kSendMessage{0x06, 0x34};

constexpr std::uint8_t kBmcAddress = 0x20;
constexpr std::uint8_t kRequesterLun = 2;
constexpr std::uint8_t kReceiveMessageAvailable = 0x01;
// All flags but the two that the standard reserves.
constexpr std::uint8_t kClearableFlags = 0xEB;

constexpr int kSendCycles = 3;
constexpr int kPolls = 100;
constexpr std::uint32_t kSendWait = 100;
constexpr std::uint32_t kPollWait = 50;

// Send Message data: channel, the IPMB request from the responder's address
// on, and its second checksum.
constexpr std::size_t kRequestHeader = 7;
constexpr std::size_t kRequestCapacity = kRequestHeader + 255 + 1;

// Get Message data: channel, then the IPMB response.
constexpr std::size_t kNetFunctionByte = 1;
constexpr std::size_t kResponderByte = 3;
constexpr std::size_t kCommandByte = 5;
constexpr std::size_t kCompletionCodeByte = 6;
constexpr std::size_t kResponseHeader = 7;

struct IpmbRequest {
  std::array<std::uint8_t, kRequestCapacity> bytes{};
  std::size_t length = 0;

  std::span<const std::uint8_t> All() const { return std::span(bytes).first(length); }
};

std::uint8_t Checksum(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint8_t>(-platform::ByteSum(bytes));
}

IpmbRequest BuildRequest(IpmiCommand command, std::uint8_t responder, std::uint8_t responder_lun,
                         std::span<const std::uint8_t> data) {
  IpmbRequest request;
  auto& bytes = request.bytes;
  bytes[0] = 0;  // the primary IPMB, without tracking
  bytes[1] = responder;
  bytes[2] = static_cast<std::uint8_t>(command.net_function << 2 | responder_lun);
  bytes[3] = Checksum(std::span(bytes).subspan(1, 2));
  bytes[4] = kBmcAddress;
  bytes[5] = static_cast<std::uint8_t>((NextIpmbSequence() << 2 & 0xFC) | kRequesterLun);
  bytes[6] = command.command;
  const std::size_t data_length = std::min(data.size(), kRequestCapacity - kRequestHeader - 1);
  std::copy_n(data.data(), data_length, &bytes[kRequestHeader]);
  request.length = kRequestHeader + data_length;
  bytes[request.length] = Checksum(std::span(bytes).subspan(4, request.length - 4));
  ++request.length;
  return request;
}

void LogRequest(const IpmbRequest& request) {
  const auto& bytes = request.bytes;
  report::DebugPrint(
      kDebugIpmi,
      "\nSend IPMB message: Chan=0x%x, rsSA=0x%x, NetFnLun=0x%x, chksum1=0x%x, rqSA=0x%x, rqSqLun=0x%x, cmd=0x%x, rqData=0x",
      bytes[0], bytes[1], bytes[2], bytes[3], bytes[4], bytes[5], bytes[6]);
  const std::size_t checksum = request.length - 1;
  for (std::size_t i = kRequestHeader; i < checksum; ++i) report::DebugPrint(kDebugIpmi, "%02x ", bytes[i]);
  report::DebugPrint(kDebugIpmi, ", chksum2=0x%x.", bytes[checksum]);
}

// Polls until the controller holds a message. Kept: a message seen on the very
// last poll counts as none.
bool WaitForMessage() {
  IpmiResponse flags;
  int polls = kPolls;
  while (polls > 0) {
    // A query that fails leaves the flags of the one before.
    (void)SendIpmiCommand(kGetMessageFlags, {}, &flags);
    TestLib->Delay(kPollWait);
    --polls;
    if ((flags.data[0] & kReceiveMessageAvailable) != 0) break;
  }
  return polls != 0;
}

bool SendUntilMessage(const IpmbRequest& request) {
  IpmiResponse answer;
  for (int cycle = kSendCycles; cycle > 0; --cycle) {
    if (!SendIpmiCommand(kSendMessage, request.All(), &answer)) return false;
    TestLib->Delay(kSendWait);
    if (WaitForMessage()) return true;
    report::DebugPrint(kDebugProgress, "\nTimeout (%d).", cycle);
  }
  report::DebugPrint(kDebugProgress, "\nTimeout while waiting for message. Retried 3 times.");
  return false;
}

bool IsResponseNetFunction(std::uint8_t net_function) {
  switch (net_function) {
    case 0x03:
    case 0x05:
    case 0x07:
    case 0x09:
    case 0x0B:
    case 0x31:
      return true;
    default:
      return false;
  }
}

// Whether the header is that of the expected response, without error.
bool ValidateHeader(const IpmiResponse& message, std::uint8_t responder, IpmiCommand command) {
  const EarlierLastError earlier;
  const auto& bytes = message.data;
  const auto net_function = static_cast<std::uint8_t>(bytes[kNetFunctionByte] >> 2);
  if (!IsResponseNetFunction(net_function)) {
    SetLastError("\nUnregconized Network Function (0x%x). %s", net_function, earlier.Text());
    return false;
  }
  if (bytes[kResponderByte] != responder) {
    SetLastError("\nIPMB msg mismatched resp slave address - Exp=0x%x, Actual=0x%x. %s", responder,
                 bytes[kResponderByte], earlier.Text());
    return false;
  }
  if (bytes[kCommandByte] != command.command) {
    SetLastError("\nIPMB msg mismatched command type - Exp=0x%x, Actual=0x%x. %s", command.command, bytes[kCommandByte],
                 earlier.Text());
    return false;
  }
  const std::uint8_t code = bytes[kCompletionCodeByte];
  if (code != 0) {
    const char16_t* const text = GetCompletionCodeText(code, command.net_function, command.command);
    SetLastError("\nIPMB msg bad completion code: 0x%02x (%s). %s", code, text, earlier.Text());
    return false;
  }
  return true;
}

}  // namespace

bool SendIpmbMessage(IpmiCommand command, std::uint8_t responder, std::uint8_t responder_lun,
                     std::span<const std::uint8_t> request, IpmiResponse* response) {
  if (!IsIpmiAvailable() || !ClearBmcMessageFlags()) return false;
  const IpmbRequest message = BuildRequest(command, responder, responder_lun, request);
  LogRequest(message);
  if (!SendUntilMessage(message)) return false;
  IpmiResponse answer;
  if (!SendIpmiCommand(kGetMessage, {}, &answer)) return false;
  return ValidateIpmbResponse(answer, responder, command, response);
}

bool ClearBmcMessageFlags() {
  IpmiResponse flags;
  if (!SendIpmiCommand(kGetMessageFlags, {}, &flags)) {
    const EarlierLastError earlier;
    SetLastError("\nFailed to get BMC message flag. %s", earlier.Text());
    return false;
  }
  const std::uint8_t clear[] = {static_cast<std::uint8_t>(flags.data[0] & kClearableFlags)};
  if (!SendIpmiCommand(kClearMessageFlags, clear, &flags)) {
    const EarlierLastError earlier;
    SetLastError("\nFailed to clear BMC message flag. %s", earlier.Text());
    return false;
  }
  return true;
}

bool ValidateIpmbResponse(const IpmiResponse& message, std::uint8_t responder, IpmiCommand command,
                          IpmiResponse* response) {
  if (message.length < kResponseHeader + 1) {
    const EarlierLastError earlier;
    SetLastError("Device responsed with invalid length - Exp=8+, Actual=%d. %s", message.length, earlier.Text());
    return false;
  }
  if (!ValidateHeader(message, responder, command)) return false;

  // The first checksum, over what the controller put in itself, is not looked at.
  const std::size_t checksum = message.length - 1;
  response->length = static_cast<std::uint32_t>(checksum - kResponseHeader);
  std::copy_n(&message.data[kResponseHeader], response->length, response->data.data());
  if (message.data[checksum] != Checksum(std::span(message.data).subspan(kResponderByte, checksum - kResponderByte))) {
    const EarlierLastError earlier;
    SetLastError("\nIPMB msg Checksum2 error. %s", earlier.Text());
    return false;
  }
  return true;
}

}  // namespace mfgtest
