// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "qemu/bmc/line_protocol.h"

#include <utility>

namespace bmc {
namespace {

using simulation::Bytes;
using simulation::IpmiAnswer;

constexpr std::uint8_t kEndOfMessage = 0xA0;
constexpr std::uint8_t kEndOfCommand = 0xA1;
constexpr std::uint8_t kEscape = 0xAA;
constexpr std::uint8_t kEscapedBit = 0x10;

constexpr std::uint8_t kAttentionOff = 0x00;
constexpr std::uint8_t kAttentionOn = 0x01;

// Sequence, network function and LUN, command, checksum.
constexpr std::size_t kShortestMessage = 4;

Bytes Framed(const Bytes& content, std::uint8_t end) {
  Bytes frame;
  for (const std::uint8_t byte : content) {
    const bool is_special = byte == kEndOfMessage || byte == kEndOfCommand || byte == kEscape;
    if (is_special) frame.push_back(kEscape);
    frame.push_back(is_special ? static_cast<std::uint8_t>(byte | kEscapedBit) : byte);
  }
  frame.push_back(end);
  return frame;
}

}  // namespace

Bytes LineProtocol::Take(std::uint8_t byte) {
  if (byte == kEndOfMessage || byte == kEndOfCommand) {
    const Bytes frame = std::exchange(frame_, {});
    is_escaped_ = false;
    // Commands tell what the virtual machine can do and what it wants of its
    // power; nothing here depends on it.
    return byte == kEndOfMessage ? TakeMessage(frame) : Bytes{};
  }
  if (byte == kEscape) {
    is_escaped_ = true;
    return {};
  }
  frame_.push_back(is_escaped_ ? static_cast<std::uint8_t>(byte & ~kEscapedBit) : byte);
  is_escaped_ = false;
  return {};
}

Bytes LineProtocol::TakeMessage(const Bytes& frame) {
  if (frame.size() < kShortestMessage || simulation::ZeroChecksum(frame) != 0) {
    controller_.log.push_back("a message that is too short or has a wrong checksum");
    return {};
  }
  const IpmiAnswer answer = controller_.Answer({.net_function = static_cast<std::uint8_t>(frame[1] >> 2),
                                                .command = frame[2],
                                                .data = Bytes(frame.begin() + 3, frame.end() - 1)});
  hangs_up_ = answer.manner == IpmiAnswer::Manner::kHangUp;
  if (answer.manner != IpmiAnswer::Manner::kGiven) return {};
  Bytes response = {frame[0], static_cast<std::uint8_t>(frame[1] | 4), frame[2], answer.completion_code};
  response.insert(response.end(), answer.data.begin(), answer.data.end());
  response.push_back(simulation::ZeroChecksum(response));
  Bytes sent = Framed(response, kEndOfMessage);
  const Bytes attention = Attention();
  sent.insert(sent.end(), attention.begin(), attention.end());
  return sent;
}

Bytes LineProtocol::Attention() {
  if (controller_.HasMessage() == has_attention_) return {};
  has_attention_ = controller_.HasMessage();
  return Framed({has_attention_ ? kAttentionOn : kAttentionOff}, kEndOfCommand);
}

}  // namespace bmc
