// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/management_controller.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace simulation {
namespace {

using Kind = Misbehaviour::Kind;
using Manner = IpmiAnswer::Manner;

constexpr std::uint8_t kMessageAvailable = 0x01;

constexpr std::uint8_t kNakOnWrite = 0x83;
constexpr std::uint8_t kQueueEmpty = 0x80;
constexpr std::uint8_t kInvalidCommand = 0xC1;
constexpr std::uint8_t kInvalidLength = 0xC7;
constexpr std::uint8_t kOutOfRange = 0xC9;
constexpr std::uint8_t kNotPresent = 0xCB;
constexpr std::uint8_t kInvalidField = 0xCC;

constexpr unsigned Code(std::uint8_t net_function, std::uint8_t command) { return net_function << 8 | command; }

IpmiAnswer Refuse(std::uint8_t completion_code) { return {.completion_code = completion_code}; }

std::string Hexadecimal(std::span<const std::uint8_t> bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    std::array<char, 4> digits{};
    std::snprintf(digits.data(), digits.size(), " %02X", byte);
    text += digits.data();
  }
  return text;
}

std::string RequestLine(const IpmiRequest& request) {
  return ">" + Hexadecimal(std::array{request.net_function, request.command}) + Hexadecimal(request.data);
}

std::string AnswerLine(const IpmiAnswer& answer) {
  static constexpr std::array kNames = {"<", "< silence", "< refusal", "< receive error", "< hang-up"};
  std::string name = kNames[static_cast<std::size_t>(answer.manner)];
  if (answer.manner != Manner::kGiven) return name;
  return name + Hexadecimal(std::array{answer.completion_code}) + Hexadecimal(answer.data);
}

IpmiAnswer ReadFru(const Bytes& image, const Bytes& request) {
  if (request.size() != 4) return Refuse(kInvalidLength);
  const std::size_t offset = request[1] | request[2] << 8;
  if (offset >= image.size()) return Refuse(kOutOfRange);
  const std::size_t count = std::min<std::size_t>(request[3], image.size() - offset);
  IpmiAnswer answer{.data = {static_cast<std::uint8_t>(count)}};
  const auto begin = image.begin() + static_cast<std::ptrdiff_t>(offset);
  answer.data.insert(answer.data.end(), begin, begin + static_cast<std::ptrdiff_t>(count));
  return answer;
}

// The commands that every controller with FRU devices has.
IpmiAnswer ServeFru(const ManagementController::FruDevices& frus, const IpmiRequest& request) {
  const auto device = request.data.empty() ? frus.end() : frus.find(request.data[0]);
  switch (Code(request.net_function, request.command)) {
    case 0x0601:  // Get Device ID: IPMI 2.0, FRU inventory
      return {.data = {0x20, 0x01, 0x01, 0x00, 0x02, 0x08, 0x00, 0x00, 0x00, 0x01, 0x00}};
    case 0x0604:  // Get Self Test Results: no error
      return {.data = {0x55, 0x00}};
    case 0x0A10:  // Get FRU Inventory Area Info: its size, in bytes
      if (device == frus.end()) return Refuse(kNotPresent);
      return {.data = {static_cast<std::uint8_t>(device->second.size()),
                       static_cast<std::uint8_t>(device->second.size() >> 8), 0}};
    case 0x0A11:
      return device == frus.end() ? Refuse(kNotPresent) : ReadFru(device->second, request.data);
    default:
      return Refuse(kInvalidCommand);
  }
}

// An IPMB request as Send Message carries it behind the channel: responder,
// network function and LUN, checksum, requester, sequence and LUN, command,
// data, checksum.
bool IsSound(const Bytes& frame) {
  const auto sum = [&](std::size_t from, std::size_t to) {
    return ZeroChecksum(
        Bytes(frame.begin() + static_cast<std::ptrdiff_t>(from), frame.begin() + static_cast<std::ptrdiff_t>(to)));
  };
  return sum(0, 3) == 0 && sum(3, frame.size()) == 0;
}

std::uint8_t FirstArgument(const Misbehaviour& misbehaviour) {
  return misbehaviour.arguments.empty() ? std::uint8_t{0} : misbehaviour.arguments[0];
}

// The data of Get Message: channel 0, then the response without its requester.
Bytes ResponseMessage(const Bytes& frame, const IpmiAnswer& answer, const Misbehaviour* misbehaviour) {
  std::uint8_t responder = frame[0];
  std::uint8_t net_function = static_cast<std::uint8_t>(frame[1] >> 2 | 1);
  std::uint8_t command = frame[5];
  if (misbehaviour != nullptr && misbehaviour->kind == Kind::kResponder) responder = FirstArgument(*misbehaviour);
  if (misbehaviour != nullptr && misbehaviour->kind == Kind::kNetFunction) net_function = FirstArgument(*misbehaviour);
  if (misbehaviour != nullptr && misbehaviour->kind == Kind::kCommand) command = FirstArgument(*misbehaviour);

  const auto net_function_and_lun = static_cast<std::uint8_t>(net_function << 2 | (frame[4] & 3));
  const auto sequence_and_lun = static_cast<std::uint8_t>((frame[4] & 0xFC) | (frame[1] & 3));
  Bytes body = {responder, sequence_and_lun, command, answer.completion_code};
  body.insert(body.end(), answer.data.begin(), answer.data.end());
  body.push_back(ZeroChecksum(body));
  if (misbehaviour != nullptr && misbehaviour->kind == Kind::kChecksum) ++body.back();
  Bytes message = {0, net_function_and_lun, ZeroChecksum({frame[3], net_function_and_lun})};
  message.insert(message.end(), body.begin(), body.end());
  return message;
}

IpmiAnswer Misbehave(const Misbehaviour& misbehaviour) {
  static const std::map<Kind, Manner> kManners = {{Kind::kAnswer, Manner::kGiven},
                                                  {Kind::kSilence, Manner::kSilence},
                                                  {Kind::kRefusal, Manner::kRefusal},
                                                  {Kind::kReceiveError, Manner::kReceiveError},
                                                  {Kind::kHangUp, Manner::kHangUp}};
  const Bytes& arguments = misbehaviour.arguments;
  IpmiAnswer answer{.manner = kManners.at(misbehaviour.kind), .completion_code = 0xFF};
  if (arguments.empty()) return answer;
  answer.completion_code = arguments[0];
  answer.data.assign(arguments.begin() + 1, arguments.end());
  return answer;
}

bool ReplacesAnswer(Kind kind) { return kind <= Kind::kHangUp; }

}  // namespace

IpmiAnswer ManagementController::Answer(const IpmiRequest& request) {
  log.push_back(RequestLine(request));
  const Misbehaviour* const misbehaviour = FindMisbehaviour(kControllerAddress, request);
  IpmiAnswer answer =
      misbehaviour != nullptr && ReplacesAnswer(misbehaviour->kind) ? Misbehave(*misbehaviour) : Serve(request);
  if (distort) distort(answer);
  log.push_back(AnswerLine(answer));
  return answer;
}

bool ManagementController::HasMessage() const { return !messages_.empty() && messages_.front().polls_before == 0; }

Misbehaviour* ManagementController::FindMisbehaviour(std::uint8_t address, const IpmiRequest& request) {
  Bytes begin = {request.net_function, request.command};
  begin.insert(begin.end(), request.data.begin(), request.data.end());
  for (Misbehaviour& one : script) {
    if (one.address != address || one.request.size() > begin.size()) continue;
    if (!std::equal(one.request.begin(), one.request.end(), begin.begin())) continue;
    const unsigned number = one.seen++;
    if (number >= one.after && number - one.after < one.times) return &one;
  }
  return nullptr;
}

IpmiAnswer ManagementController::Serve(const IpmiRequest& request) {
  switch (Code(request.net_function, request.command)) {
    case 0x0630:
      if (request.data.size() != 1) return Refuse(kInvalidLength);
      ClearFlags(request.data[0]);
      return {};
    case 0x0631:
      return {.data = {PollFlags()}};
    case 0x0633:
      return GetMessage();
    case 0x0634:
      return SendMessage(request.data);
    case 0x3093:
      return oem_code ? IpmiAnswer{.data = {*oem_code}} : Refuse(kInvalidCommand);
    default:
      return ServeFru(frus.at(kControllerAddress), request);
  }
}

IpmiAnswer ManagementController::SendMessage(const Bytes& data) {
  if (data.size() < 8) return Refuse(kInvalidLength);
  if ((data[0] & 0x0F) != 0) return Refuse(kInvalidField);
  const Bytes frame(data.begin() + 1, data.end());
  const auto responder = frus.find(frame[0]);
  if (responder == frus.end() || frame[0] == kControllerAddress) return Refuse(kNakOnWrite);

  const std::string at = Hexadecimal(std::array{frame[0]}).substr(1) + " ";
  if (!IsSound(frame)) {
    log.push_back(at + "> wrong checksum");
    return {};
  }
  const IpmiRequest request{.net_function = static_cast<std::uint8_t>(frame[1] >> 2),
                            .command = frame[5],
                            .data = Bytes(frame.begin() + 6, frame.end() - 1)};
  log.push_back(at + RequestLine(request));
  const Misbehaviour* const misbehaviour = FindMisbehaviour(frame[0], request);
  const bool replaces = misbehaviour != nullptr && ReplacesAnswer(misbehaviour->kind);
  const IpmiAnswer answer = replaces ? Misbehave(*misbehaviour) : ServeFru(responder->second, request);
  log.push_back(at + AnswerLine(answer));
  if (answer.manner != Manner::kGiven) return {};
  const bool is_late = misbehaviour != nullptr && misbehaviour->kind == Kind::kLate;
  messages_.push_back({ResponseMessage(frame, answer, misbehaviour), is_late ? FirstArgument(*misbehaviour) - 1u : 0});
  return {};
}

IpmiAnswer ManagementController::GetMessage() {
  if (!HasMessage()) return Refuse(kQueueEmpty);
  IpmiAnswer answer{.data = messages_.front().data};
  messages_.pop_front();
  return answer;
}

std::uint8_t ManagementController::PollFlags() {
  const bool available = HasMessage();
  if (!messages_.empty() && !available) --messages_.front().polls_before;
  return static_cast<std::uint8_t>(flags | (available ? kMessageAvailable : 0));
}

void ManagementController::ClearFlags(std::uint8_t which) {
  flags = static_cast<std::uint8_t>(flags & ~which);
  if ((which & kMessageAvailable) != 0) messages_.clear();
}

}  // namespace simulation
