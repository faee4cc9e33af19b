// SPDX-License-Identifier: BSD-2-Clause-Patent
// How often a run is repeated with failing calls. With FAULTS=all in the
// environment every call of it fails in turn, else a sample that is always the
// same.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

#include "simulation/injection.h"
#include "tests/faults_fail_tests.h"

inline bool EveryCallFails() {
  const char* const wanted = std::getenv("FAULTS");
  return wanted != nullptr && std::string_view(wanted) == "all";
}

// Hands each injection into a run of so many calls to `repeat`, which gives the
// name of the call that failed when the run passed all the same, else nothing.
template <class Repeat>
void InjectIntoEachCall(const std::string& run, std::uint64_t calls, std::uint64_t stride, Repeat repeat) {
  static std::uint64_t index = 0;
  std::map<std::string, unsigned> passes;
  for (const bool for_good : {false, true}) {
    for (std::uint64_t call = 1; call <= calls; ++call) {
      if (!EveryCallFails() && ++index % stride != 0) continue;
      SCOPED_TRACE(run + ": call " + std::to_string(call) + " of " + std::to_string(calls) +
                   (for_good ? " fails for good" : " fails"));
      const std::string passed = repeat(simulation::Injection{.failing = call, .for_good = for_good});
      if (!passed.empty()) ++passes[passed];
    }
  }
  if (!EveryCallFails()) return;
  std::printf("%s: %llu calls\n", run.c_str(), static_cast<unsigned long long>(calls));
  for (const auto& [name, times] : passes) std::printf("    passed %3u times without %s\n", times, name.c_str());
  std::fflush(stdout);
}
