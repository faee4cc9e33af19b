// SPDX-License-Identifier: BSD-2-Clause-Patent
// The corpus of one target without a fuzzing engine, and then changes of it at
// random for a while: fuzz_targets TARGET FOLDER [SECONDS]. A file instead of a
// folder is run alone.
#include <sanitizer/common_interface_defs.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>

#include "fuzz/targets.h"

// A fault of the simulated machine aborts; the input is to be kept then, too.
extern "C" const char* __asan_default_options() { return "handle_abort=1"; }

namespace {

namespace fs = std::filesystem;
using fuzz::Bytes;

constexpr unsigned kSecondsOfOneRun = 30;
constexpr unsigned kSeed = 20260102;
constexpr std::size_t kLongestInput = 4096;

std::string target_name;
Bytes current;

// The last thing a failing program does.
void KeepInput() {
  const std::string path = "finding-" + target_name;
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(current.data()), static_cast<std::streamsize>(current.size()));
  std::fprintf(stderr, "The input is in %s. Again: fuzz_targets %s %s\n", path.c_str(), target_name.c_str(),
               path.c_str());
}

void Hang(int) {
  std::fprintf(stderr, "a run of more than %u seconds\n", kSecondsOfOneRun);
  std::abort();
}

void Run(const fuzz::Target& target, Bytes input) {
  current = std::move(input);
  alarm(kSecondsOfOneRun);
  target.run(fuzz::Input(current));
}

// Damages an input in a few places, as a fuzzing engine does.
class Mutator {
 public:
  Bytes Mutated(const std::vector<Bytes>& corpus) {
    Bytes input = corpus[Below(corpus.size())];
    for (std::size_t changes = 1 + Below(4); changes > 0; --changes) {
      const std::size_t place = Below(input.size() + 1);
      const auto at = input.begin() + static_cast<std::ptrdiff_t>(place);
      const Bytes& other = corpus[Below(corpus.size())];
      const std::size_t kind = Below(5);
      if (kind == 0) input.insert(at, 1 + Below(4), static_cast<std::uint8_t>(Below(256)));
      if (kind == 1)
        input.insert(at, other.begin(), other.begin() + static_cast<std::ptrdiff_t>(Below(other.size() + 1)));
      if (place == input.size()) continue;
      if (kind == 2) input.erase(at);
      if (kind == 3) input[place] = static_cast<std::uint8_t>(Below(256));
      if (kind == 4) input[place] ^= static_cast<std::uint8_t>(1u << Below(8));
    }
    input.resize(std::min(input.size(), kLongestInput));
    return input;
  }

 private:
  std::size_t Below(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit - 1)(generator_); }

  std::mt19937 generator_{kSeed};
};

Bytes ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<Bytes> ReadCorpus(const fs::path& folder) {
  if (fs::is_regular_file(folder)) return {ReadFile(folder)};
  std::vector<fs::path> paths;
  for (const auto& entry : fs::directory_iterator(folder)) paths.push_back(entry.path());
  std::ranges::sort(paths);
  std::vector<Bytes> corpus(paths.size());
  std::ranges::transform(paths, corpus.begin(), ReadFile);
  return corpus;
}

}  // namespace

int main(int argc, char** argv) {
  const auto* const target =
      argc < 3 ? std::end(fuzz::kTargets)
               : std::ranges::find(fuzz::kTargets, std::string_view(argv[1]),
                                   [](const fuzz::Target& one) { return std::string_view(one.name); });
  if (target == std::end(fuzz::kTargets)) {
    std::fprintf(stderr, "usage: %s TARGET FOLDER|FILE [SECONDS]\n", argv[0]);
    return 2;
  }
  target_name = target->name;
  __sanitizer_set_death_callback(KeepInput);
  std::signal(SIGALRM, Hang);
  const std::vector<Bytes> corpus = ReadCorpus(argv[2]);
  if (corpus.empty()) {
    std::fprintf(stderr, "%s is empty\n", argv[2]);
    return 1;
  }
  for (const Bytes& input : corpus) Run(*target, input);

  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(argc > 3 ? std::atof(argv[3]) : 0);
  Mutator mutator;
  std::size_t runs = 0;
  for (; std::chrono::steady_clock::now() < end; ++runs) Run(*target, mutator.Mutated(corpus));
  std::printf("%s: %zu inputs of the corpus, %zu others\n", target->name, corpus.size(), runs);
  return 0;
}
