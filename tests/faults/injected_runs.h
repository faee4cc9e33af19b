// SPDX-License-Identifier: BSD-2-Clause-Patent
// How often a run is repeated with failing calls. FAULTS=0/1 in the environment
// lets every call of it fail in turn, in every way of its service; 0/2 and 1/2
// are the halves of that. Without it a sample does that is always the same.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "simulation/injection.h"
#include "tests/faults_fail_tests.h"

struct Share {
  unsigned part = 0;
  unsigned parts = 1;
  bool is_sample = true;
};

inline Share WantedShare() {
  Share share;
  const char* const wanted = std::getenv("FAULTS");
  share.is_sample = wanted == nullptr || std::sscanf(wanted, "%u/%u", &share.part, &share.parts) != 2;
  return share;
}

// Every call failing once and for good, in each of its ways; and pairs of calls
// that fail in one run, the same ones every time.
inline std::vector<simulation::Injection> InjectionsInto(const simulation::Injection& whole) {
  constexpr unsigned kPairs = 25;
  std::vector<simulation::Injection> injections;
  const std::vector<std::uint8_t>& ways = whole.calls;
  for (const bool for_good : {false, true}) {
    for (std::size_t call = 0; call < ways.size(); ++call) {
      for (std::size_t way = 0; way < ways[call]; ++way) {
        injections.push_back({.failing = {{{call + 1, way}, {}}}, .for_good = for_good});
      }
    }
  }
  std::minstd_rand random;
  for (unsigned pair = 0; pair < kPairs && ways.size() > 1; ++pair) {
    const std::size_t first = random() % (ways.size() - 1);
    const std::size_t second = first + 1 + random() % (ways.size() - first - 1);
    injections.push_back({.failing = {{{first + 1, random() % ways[first]}, {second + 1, random() % ways[second]}}}});
  }
  return injections;
}

// The power gone at each write, and within it.
inline std::vector<simulation::Injection> CutsInto(const simulation::Injection& whole) {
  std::vector<simulation::Injection> injections;
  for (const std::uint64_t call : whole.writes) injections.push_back({.cut = call});
  return injections;
}

inline std::string Named(const simulation::Injection& injection) {
  const auto name = [](const simulation::Injection::Call& call) {
    return "call " + std::to_string(call.number) + " in way " + std::to_string(call.way);
  };
  const auto& [first, second] = injection.failing;
  if (injection.cut != 0) return "the power goes at call " + std::to_string(injection.cut);
  if (second.number != 0) return name(first) + " and " + name(second) + " fail";
  return name(first) + (injection.for_good ? " fails for good" : " fails");
}

// Hands injections into a run to `repeat`, which gives the names of the calls
// that failed when the run passed all the same, else nothing. The sample takes
// one of so many; so does the whole where a run has thousands of like calls.
template <class Repeat>
void Inject(const std::string& run, const std::vector<simulation::Injection>& injections, unsigned sample,
            Repeat repeat, unsigned least_stride = 1) {
  static std::uint64_t index = 0;
  const Share share = WantedShare();
  const unsigned stride = share.is_sample ? sample : share.parts * least_stride;
  std::map<std::string, unsigned> passes;
  unsigned repeats = 0;
  for (const simulation::Injection& injection : injections) {
    if (index++ % stride != share.part * least_stride) continue;
    SCOPED_TRACE(run + ": " + Named(injection));
    const std::string passed = repeat(injection);
    if (!passed.empty()) ++passes[passed];
    ++repeats;
  }
  if (share.is_sample) return;
  std::string told = run + ": repeated " + std::to_string(repeats) + " times\n";
  for (const auto& [name, times] : passes) {
    told += "    passed " + std::to_string(times) + " times without " + name + "\n";
  }
  std::fputs(told.c_str(), stdout);
  std::fflush(stdout);
}
