// SPDX-License-Identifier: BSD-2-Clause-Patent
// A management controller for a machine in QEMU: serves ipmi-bmc-extern on a
// TCP port of this host. Writes "ready PORT" when QEMU may connect, and ends
// when QEMU goes, when its script says so, or at its time limit.
#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "qemu/bmc/line_protocol.h"
#include "simulation/controller_file.h"

namespace {

using simulation::ManagementController;
using Clock = std::chrono::steady_clock;

constexpr char kUsage[] =
    "usage: bmc MACHINE_FILE [--log FILE] [--time-limit SECONDS]\n"
    "       bmc MACHINE_FILE --write-fru DEVICE FILE\n";

struct Options {
  std::string machine_file;
  std::string log_file = "/dev/null";
  int time_limit = 300;
  int fru_device = -1;
  std::string fru_file;
};

int Number(const std::string& word) {
  char* end = nullptr;
  const long number = std::strtol(word.c_str(), &end, 0);
  if (word.empty() || *end != '\0' || number < 0 || number > 86400) {
    throw std::invalid_argument("expected a number, found \"" + word + "\"");
  }
  return static_cast<int>(number);
}

Options ParseOptions(int argc, char** argv) {
  Options options;
  const std::vector<std::string> words(argv + 1, argv + argc);
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::size_t values = words.size() - i - 1;
    if (words[i] == "--log" && values >= 1) {
      options.log_file = words[++i];
    } else if (words[i] == "--time-limit" && values >= 1) {
      options.time_limit = Number(words[++i]);
    } else if (words[i] == "--write-fru" && values >= 2) {
      options.fru_device = Number(words[++i]);
      options.fru_file = words[++i];
    } else if (options.machine_file.empty() && !words[i].starts_with("-")) {
      options.machine_file = words[i];
    } else {
      throw std::invalid_argument(kUsage);
    }
  }
  if (options.machine_file.empty()) throw std::invalid_argument(kUsage);
  return options;
}

ManagementController ReadController(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error(path + " cannot be read");
  try {
    return simulation::ParseController(std::string(std::istreambuf_iterator<char>(file), {}));
  } catch (const std::runtime_error& fault) {
    throw std::runtime_error(path + " " + fault.what());
  }
}

void WriteFru(ManagementController& controller, const Options& options) {
  const ManagementController::FruDevices& frus = controller.frus.at(simulation::kControllerAddress);
  const auto device = frus.find(static_cast<std::uint8_t>(options.fru_device));
  if (device == frus.end()) throw std::runtime_error("there is no FRU device " + std::to_string(options.fru_device));
  const simulation::Bytes& image = device->second;
  std::ofstream file(options.fru_file, std::ios::binary);
  file.write(reinterpret_cast<const char*>(image.data()), static_cast<std::streamsize>(image.size()));
  if (!file.flush()) throw std::runtime_error(options.fru_file + " cannot be written");
}

// A file descriptor that closes itself.
struct Socket {
  explicit Socket(int opened) : descriptor(opened) {
    if (descriptor < 0) throw std::runtime_error("no socket");
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket() { close(descriptor); }

  const int descriptor;
};

// False at the deadline.
bool WaitFor(const Socket& socket, Clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
  pollfd waiting{socket.descriptor, POLLIN, 0};
  return left > 0 && poll(&waiting, 1, static_cast<int>(left)) > 0;
}

// On a port that the system chooses.
void Listen(const Socket& socket) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const any_address = reinterpret_cast<sockaddr*>(&address);
  if (bind(socket.descriptor, any_address, size) != 0 || listen(socket.descriptor, 1) != 0 ||
      getsockname(socket.descriptor, any_address, &size) != 0) {
    throw std::runtime_error("no port to listen on");
  }
  std::printf("ready %d\n", ntohs(address.sin_port));
  std::fflush(stdout);
}

void WriteLog(ManagementController& controller, std::ofstream& file) {
  for (const std::string& line : controller.log) file << line << '\n';
  file.flush();
  controller.log.clear();
}

// Until the other side closes, the script hangs up, or the deadline.
void Serve(const Socket& connection, ManagementController& controller, std::ofstream& log, Clock::time_point deadline) {
  bmc::LineProtocol protocol(controller);
  while (!protocol.HangsUp()) {
    if (!WaitFor(connection, deadline)) throw std::runtime_error("the time limit is over");
    std::uint8_t bytes[256];
    const ssize_t count = recv(connection.descriptor, bytes, sizeof bytes, 0);
    if (count <= 0) return;
    for (ssize_t i = 0; i < count && !protocol.HangsUp(); ++i) {
      const simulation::Bytes sent = protocol.Take(bytes[i]);
      if (send(connection.descriptor, sent.data(), sent.size(), MSG_NOSIGNAL) < 0) return;
    }
    WriteLog(controller, log);
  }
}

void Run(const Options& options) {
  ManagementController controller = ReadController(options.machine_file);
  if (options.fru_device >= 0) return WriteFru(controller, options);
  std::ofstream log(options.log_file);
  if (!log) throw std::runtime_error(options.log_file + " cannot be written");
  const Clock::time_point deadline = Clock::now() + std::chrono::seconds(options.time_limit);
  const Socket listener(socket(AF_INET, SOCK_STREAM, 0));
  Listen(listener);
  if (!WaitFor(listener, deadline)) throw std::runtime_error("nobody connected within the time limit");
  const Socket connection(accept(listener.descriptor, nullptr, nullptr));
  Serve(connection, controller, log, deadline);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    Run(ParseOptions(argc, argv));
    return 0;
  } catch (const std::exception& fault) {
    std::fprintf(stderr, "bmc: %s\n", fault.what());
    return 1;
  }
}
