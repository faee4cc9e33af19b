// SPDX-License-Identifier: BSD-2-Clause-Patent
// A server whose management controller holds what server.machine says.
#pragma once

#include <algorithm>
#include <map>

#include "report/last_error.h"
#include "simulation/controller_file.h"
#include "simulation/reference_server.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/transcript_lines.h"

using Parameters = std::map<std::u16string, std::u16string>;

struct Server {
  // The text goes behind server.machine: other devices, or a script.
  explicit Server(const std::string& more = {})
      : controller(simulation::ParseController(simulation::ReferenceController() + more)) {}

  Lines Run(std::uint32_t test, const Parameters& parameters = {}) {
    station.library->parameters = parameters;
    return station.Run(test);
  }

  // For single routines: forgets what the library heard and the wire carried.
  void Bind() {
    station.Bind();
    station.library->calls.clear();
    controller.log.clear();
  }

  // The requests on the wire, without the answers.
  Lines Requests() const { return Only({">", "C0 >", "C2 >"}, controller.log); }

  simulation::Station station;
  simulation::ManagementController controller;
  simulation::IpmiDevice device{station.machine, controller};
};

inline std::string LastErrorText() {
  std::string text;
  for (const char16_t* c = mfgtest::LastError(); *c != 0; ++c) text += *c < 0x80 ? static_cast<char>(*c) : '?';
  return text;
}

inline std::string Repeated(const std::string& text, unsigned times) {
  std::string all;
  for (; times > 0; --times) all += text;
  return all;
}
