// SPDX-License-Identifier: BSD-2-Clause-Patent
// A management controller (IPMI 2.0) with FRU devices, of its own and behind
// the primary IPMB, that misbehaves by script. It knows nothing of the
// interface over which it is asked.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <span>

#include "simulation/fru_image.h"

namespace simulation {

inline constexpr std::uint8_t kControllerAddress = 0x20;

struct IpmiRequest {
  std::uint8_t net_function;
  std::uint8_t command;
  Bytes data;
};

struct IpmiAnswer {
  enum class Manner {
    kGiven,
    kSilence,       // nothing comes
    kRefusal,       // the interface does not take the request
    kReceiveError,  // the interface fails but hands something over
    kHangUp,        // the controller leaves the interface
  };
  Manner manner = Manner::kGiven;
  std::uint8_t completion_code = 0;
  Bytes data{};
};

// What is done instead of the right thing.
struct Misbehaviour {
  enum class Kind {
    kAnswer,        // completion code and data as given
    kSilence,       // no answer; from behind the IPMB no message
    kRefusal,       // as the manners above
    kReceiveError,  // with the completion code and data as given
    kHangUp,
    // Of a message from behind the IPMB:
    kLate,         // there at the given poll of the message flags, 1 for the next one
    kChecksum,     // a wrong second checksum
    kResponder,    // from the given address
    kCommand,      // of the given command
    kNetFunction,  // of the given network function
  };
  Kind kind;
  // Whose.
  std::uint8_t address = kControllerAddress;
  // How the request begins: network function, command, data.
  Bytes request{};
  Bytes arguments{};
  // Requests of that kind that are left alone first, and how many are not; those
  // that an earlier entry of the script took are not counted.
  unsigned after = 0;
  unsigned times = ~0u;
  unsigned seen = 0;
};

class ManagementController {
 public:
  IpmiAnswer Answer(const IpmiRequest& request);
  // Whether the interface's attention flag is up.
  bool HasMessage() const;

  using FruDevices = std::map<std::uint8_t, Bytes>;
  // By address: the controller's own, and those of the controllers behind it.
  std::map<std::uint8_t, FruDevices> frus{{kControllerAddress, {}}};
  // The answer to the OEM query; without it the command is unknown.
  std::optional<std::uint8_t> oem_code{};
  // Message flags beside the one of the message queue.
  std::uint8_t flags = 0;
  std::vector<Misbehaviour> script;
  // Applied to every answer at last.
  std::function<void(IpmiAnswer&)> distort;
  // Every exchange: "> " and the request's network function, command and data,
  // "< " and the completion code and data; from behind the IPMB with "C0" in
  // front.
  std::vector<std::string> log;

 private:
  struct Message {
    Bytes data;
    unsigned polls_before;
  };

  Misbehaviour* FindMisbehaviour(std::uint8_t address, const IpmiRequest& request);
  IpmiAnswer Serve(const IpmiRequest& request);
  IpmiAnswer SendMessage(const Bytes& data);
  IpmiAnswer GetMessage();
  std::uint8_t PollFlags();
  void ClearFlags(std::uint8_t which);

  std::deque<Message> messages_;
};

}  // namespace simulation
