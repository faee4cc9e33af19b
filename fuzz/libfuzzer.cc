// SPDX-License-Identifier: BSD-2-Clause-Patent
// All targets for libFuzzer. The environment variable TARGET names the one to
// fuzz; with WORDS its dictionary is shown instead.
#include <cstdio>
#include <cstdlib>

#include "fuzz/targets.h"

namespace {

const fuzz::Target* target = nullptr;

void ShowWords() {
  for (const std::string& word : fuzz::WordsOf(target->words)) {
    std::printf("\"");
    for (const char c : word) std::printf("\\x%02x", static_cast<unsigned char>(c));
    std::printf("\"\n");
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const char* const name = std::getenv("TARGET");
  target = fuzz::FindTarget(name == nullptr ? "" : name);
  if (target == nullptr) {
    std::fprintf(stderr, "TARGET is none of");
    for (const fuzz::Target& one : fuzz::kTargets) std::fprintf(stderr, " %s", one.name);
    std::fprintf(stderr, "\n");
    std::exit(2);
  }
  if (std::getenv("WORDS") == nullptr) return 0;
  ShowWords();
  std::exit(0);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  target->run(fuzz::Input({data, size}));
  return 0;
}
