// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/kcs_interface.h"

#include <limits>

namespace simulation {
namespace {

constexpr int kForEver = std::numeric_limits<int>::max();
constexpr int kAborted = std::numeric_limits<int>::min();

constexpr std::uint8_t kAbort = 0x60;
constexpr std::uint8_t kWriteStart = 0x61;
constexpr std::uint8_t kWriteEnd = 0x62;
constexpr std::uint8_t kReadNext = 0x68;

}  // namespace

KcsInterface::KcsInterface(std::uint16_t port, Controller controller, std::uint8_t spacing)
    : PortDevice(port, static_cast<std::uint16_t>(spacing + 1)),
      controller_(std::move(controller)),
      status_offset_(spacing) {}

std::uint8_t KcsInterface::Read(std::uint16_t offset) {
  if (offset == 0) {
    output_full_ = false;
    return output_;
  }
  if (offset != status_offset_) return 0xFF;
  const bool busy = busy_ > 0;
  if (busy && busy_ != kForEver) --busy_;
  return static_cast<std::uint8_t>(static_cast<int>(state_) << 6 | attention << 2 | busy << 1 |
                                   (output_full_ && !busy));
}

void KcsInterface::Write(std::uint16_t offset, std::uint8_t value) {
  if (offset != 0 && offset != status_offset_) return;
  if (busy_ > 0) {
    ++lost;
    return;
  }
  busy_ = latency;
  const bool command = offset == status_offset_;
  if (command && value == kWriteStart) taken_ = 0;
  // A byte that a controller put out, to raise its interrupt, is in its way.
  if (phase_ == Phase::kRequest && output_full_ && value != kAbort) {
    state_ = State::kError;
  } else if (command) {
    TakeCommand(value);
  } else {
    TakeData(value);
  }
  if (taken_++ == script.byte) Misbehave();
}

void KcsInterface::TakeCommand(std::uint8_t command) {
  if (command == kAbort) {
    if (!script.aborts) return;
    ++aborted;
    taken_ = kAborted;
    phase_ = Phase::kAbort;
    state_ = State::kWrite;
  } else if (command == kWriteStart && (state_ == State::kIdle || state_ == State::kError)) {
    request.clear();
    phase_ = Phase::kRequest;
    state_ = State::kWrite;
    Give(0);
  } else if (command == kWriteEnd && phase_ == Phase::kRequest) {
    phase_ = Phase::kLastByte;
    Give(0);
  } else {
    state_ = State::kError;
  }
}

void KcsInterface::TakeData(std::uint8_t value) {
  switch (phase_) {
    case Phase::kRequest:
      request.push_back(value);
      return Give(0);
    case Phase::kLastByte:
      request.push_back(value);
      response_ = controller_(request);
      given_ = 0;
      phase_ = Phase::kResponse;
      return GiveNext();
    case Phase::kAbort:
      // The response is the reason of the error.
      response_ = {0x01};
      given_ = 0;
      phase_ = Phase::kResponse;
      return GiveNext();
    case Phase::kResponse:
      if (value == kReadNext && state_ == State::kRead) return GiveNext();
      [[fallthrough]];
    default:
      state_ = State::kError;
  }
}

void KcsInterface::Give(std::uint8_t value) {
  output_ = value;
  output_full_ = true;
}

void KcsInterface::GiveNext() {
  if (given_ < response_.size()) {
    state_ = State::kRead;
    return Give(response_[given_++]);
  }
  state_ = State::kIdle;
  phase_ = Phase::kNoRequest;
  if (!omits_last_byte) Give(0);
}

void KcsInterface::Misbehave() {
  if (script.times-- <= 0) return;
  if (script.fault == Fault::kStaysBusy) busy_ = kForEver;
  if (script.fault == Fault::kNoOutput) output_full_ = false;
  if (script.fault == Fault::kErrorState) state_ = State::kError;
  if (script.fault == Fault::kIdleState) state_ = State::kIdle;
}

}  // namespace simulation
