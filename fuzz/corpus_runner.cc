// SPDX-License-Identifier: BSD-2-Clause-Patent
// The targets without a fuzzing engine.
//   fuzz_targets TARGET FOLDER [SECONDS]    a corpus, and then changes of it at
//       random for a while; a file instead of a folder is run alone
//   fuzz_targets TARGET seeds FIRST [END]   inputs made from these numbers: the
//       same ones everywhere
#include <sanitizer/common_interface_defs.h>
#include <unistd.h>

#include <chrono>
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
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
std::optional<std::uint64_t> current_seed;

// The last thing a failing program does.
void KeepInput() {
  if (current_seed) std::fprintf(stderr, "finding %" PRIu64 "\n", *current_seed);
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

// An input made from a number, of bytes that mean something to the targets:
// small numbers, ends of ranges, runs of one byte, words.
class Maker {
 public:
  Maker(const fuzz::Target& target, std::uint64_t seed) : words_(fuzz::WordsOf(target.words)), state_(seed) {
    for (const char c : std::string_view(target.name)) state_ = state_ * 0x100000001B3 + static_cast<std::uint8_t>(c);
  }

  Bytes Made() {
    Bytes input;
    const std::size_t size = Below(std::size_t{1} << Below(10));
    while (input.size() < size) AddPiece(input);
    return input;
  }

 private:
  void AddPiece(Bytes& input) {
    constexpr std::uint8_t kEnds[] = {0, 1, 0x20, 0x7F, 0x80, 0xFE, 0xFF};
    const std::size_t kind = Below(16);
    if (kind < 8) return input.push_back(static_cast<std::uint8_t>(Below(256)));
    if (kind < 12) return input.push_back(static_cast<std::uint8_t>(Below(10)));
    if (kind < 14) return input.push_back(kEnds[Below(std::size(kEnds))]);
    if (kind == 14 || words_.empty()) {
      input.insert(input.end(), Below(20), static_cast<std::uint8_t>(Below(256)));
      return;
    }
    const std::string& word = words_[Below(words_.size())];
    input.insert(input.end(), word.begin(), word.end());
  }

  // SplitMix64, by its public-domain definition: standard distributions differ
  // from library to library.
  std::size_t Below(std::size_t limit) {
    std::uint64_t z = state_ += 0x9E3779B97F4A7C15;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9;
    z = (z ^ z >> 27) * 0x94D049BB133111EB;
    return (z ^ z >> 31) % limit;
  }

  std::span<const std::string> words_;
  std::uint64_t state_;
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

int RunCorpus(const fuzz::Target& target, const fs::path& folder, double seconds) {
  const std::vector<Bytes> corpus = ReadCorpus(folder);
  if (corpus.empty()) {
    std::fprintf(stderr, "%s is empty\n", folder.c_str());
    return 1;
  }
  for (const Bytes& input : corpus) Run(target, input);
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  Mutator mutator;
  std::size_t runs = 0;
  for (; std::chrono::steady_clock::now() < end; ++runs) Run(target, mutator.Mutated(corpus));
  std::printf("%s: %zu inputs of the corpus, %zu others\n", target.name, corpus.size(), runs);
  return 0;
}

// Says how far it came, for whoever started it and may end it.
int RunSeeds(const fuzz::Target& target, std::uint64_t first, std::uint64_t end) {
  constexpr std::uint64_t kReported = 100;
  for (std::uint64_t seed = first; seed < end; ++seed) {
    if ((seed - first) % kReported == 0) std::fprintf(stderr, "next %" PRIu64 "\n", seed);
    current_seed = seed;
    Run(target, Maker(target, seed).Made());
  }
  std::fprintf(stderr, "next %" PRIu64 "\n", end);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const fuzz::Target* const target = argc < 3 ? nullptr : fuzz::FindTarget(argv[1]);
  const bool by_seeds = argc > 2 && std::string_view(argv[2]) == "seeds";
  if (target == nullptr || (by_seeds && argc < 4)) {
    std::fprintf(stderr, "usage: %s TARGET FOLDER|FILE [SECONDS]\n       %s TARGET seeds FIRST [END]\n", argv[0],
                 argv[0]);
    return 2;
  }
  target_name = target->name;
  __sanitizer_set_death_callback(KeepInput);
  std::signal(SIGALRM, Hang);
  if (!by_seeds) return RunCorpus(*target, argv[2], argc > 3 ? std::atof(argv[3]) : 0);
  const std::uint64_t first = std::strtoull(argv[3], nullptr, 0);
  return RunSeeds(*target, first, argc > 4 ? std::strtoull(argv[4], nullptr, 0) : first + 1);
}
