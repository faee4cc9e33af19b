// SPDX-License-Identifier: BSD-2-Clause-Patent
// The controller's side of a KCS interface (IPMI 2.0), with faults by script.
#pragma once

#include <functional>
#include <vector>

#include "simulation/io_ports.h"

namespace simulation {

class KcsInterface : public PortDevice {
 public:
  using Bytes = std::vector<std::uint8_t>;
  using Controller = std::function<Bytes(const Bytes& request)>;

  // What goes wrong when a byte was taken, in how many transfers, and whether
  // the controller lets itself be aborted then.
  enum class Fault { kNone, kStaysBusy, kNoOutput, kErrorState, kIdleState };
  struct Script {
    Fault fault = Fault::kNone;
    int byte = 0;  // counted in a transfer: its start is 0
    int times = 1;
    bool aborts = true;
  };

  // Puts the bytes of requests together, without KCS's own, and gives those of
  // responses.
  KcsInterface(std::uint16_t port, Controller controller, std::uint8_t spacing = 1);

  Script script;
  bool omits_last_byte = false;
  bool attention = false;
  // How often the status is read before a byte is taken.
  int latency = 0;

  // What it saw.
  Bytes request;
  int aborted = 0;
  int lost = 0;  // bytes that came before the last one was taken

 private:
  enum class State : std::uint8_t { kIdle, kRead, kWrite, kError };
  enum class Phase { kNoRequest, kRequest, kLastByte, kResponse, kAbort };

  std::uint8_t Read(std::uint16_t offset) override;
  void Write(std::uint16_t offset, std::uint8_t value) override;
  void TakeCommand(std::uint8_t command);
  void TakeData(std::uint8_t value);
  void Give(std::uint8_t value);
  void GiveNext();
  void Misbehave();

  Controller controller_;
  std::uint16_t status_offset_;
  State state_ = State::kIdle;
  Phase phase_ = Phase::kNoRequest;
  std::uint8_t output_ = 0;
  bool output_full_ = false;
  int busy_ = 0;
  int taken_ = 0;
  Bytes response_;
  std::size_t given_ = 0;
};

}  // namespace simulation
