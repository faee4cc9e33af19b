// SPDX-License-Identifier: BSD-2-Clause-Patent
// All targets for libFuzzer. The environment variable TARGET names the one to
// fuzz.
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "fuzz/targets.h"

namespace {

const fuzz::Target* target = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const char* const name = std::getenv("TARGET");
  for (const fuzz::Target& one : fuzz::kTargets) {
    if (name != nullptr && std::string_view(name) == one.name) target = &one;
  }
  if (target != nullptr) return 0;
  std::fprintf(stderr, "TARGET is none of");
  for (const fuzz::Target& one : fuzz::kTargets) std::fprintf(stderr, " %s", one.name);
  std::fprintf(stderr, "\n");
  std::exit(2);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  target->run(fuzz::Input({data, size}));
  return 0;
}
