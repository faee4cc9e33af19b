// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "mfgline/add.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>
#include <thread>
#include <utility>

#include "mfgline/store.h"
#include "mfgline/text.h"

namespace mfgline {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kRecordsAtATime = 200;
constexpr auto kLongestWait = std::chrono::seconds(1);
constexpr auto kLook = std::chrono::milliseconds(500);
constexpr const char* kStandardInput = "-";
// What a folder is searched for.
constexpr std::string_view kRecordFile = ".jsonl";
constexpr std::array<std::string_view, 2> kLogFiles = {".log", ".txt"};

volatile std::sig_atomic_t stop = 0;

void Stop(int) { stop = 1; }

class Adder {
 public:
  explicit Adder(Database& database) : database_(database) {}

  // A file that was named has to have a record in it; a log in a folder need not.
  void AddFile(const std::string& path, bool named) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return Complain(path, 0, "cannot be read");
    const bool is_record = path.ends_with(kRecordFile);
    if (AddLines(file, path, is_record) == 0 && (named || is_record)) {
      Complain(path, 0, "there is no record in it");
    }
    ++files_;
    ShowProgress();
  }

  std::size_t AddLines(std::istream& lines, const std::string& name, bool pure) {
    Reader reader(
        pure,
        [&](Record&& record) {
          record.source = Clean(name);
          records_.push_back(std::move(record));
          if (records_.size() >= kRecordsAtATime || Clock::now() - flushed_ > kLongestWait) Flush();
        },
        [&](std::size_t line, const std::string& text) { Complain(name, line, text); });
    reader.Read(lines);
    return reader.records();
  }

  void Flush() {
    Store(database_, records_, stored_);
    records_.clear();
    flushed_ = Clock::now();
    ShowProgress();
  }

  void Expect(std::size_t files) { expected_ = files; }
  bool damaged() const { return damaged_; }

  void Report() {
    if (shown_) std::cerr << "\r\033[K";
    shown_ = false;
    std::cout << Grouped(stored_.added) << " records added, " << Grouped(stored_.longer) << " replaced by longer ones, "
              << Grouped(stored_.known) << " known before" << std::endl;
    stored_ = {};
  }

 private:
  void Complain(const std::string& name, std::size_t line, const std::string& text) {
    damaged_ = true;
    if (shown_) std::cerr << "\r\033[K";
    std::cerr << Clean(name) << ':' << (line == 0 ? "" : std::to_string(line) + ":") << ' ' << text << '\n';
  }

  void ShowProgress() {
    static const bool terminal = isatty(STDERR_FILENO) != 0;
    if (!terminal || Clock::now() - progress_ < std::chrono::milliseconds(200)) return;
    progress_ = Clock::now();
    shown_ = true;
    std::cerr << "\r\033[K" << Grouped(static_cast<long>(files_)) << " of " << Grouped(static_cast<long>(expected_))
              << " files, " << Grouped(stored_.added + stored_.longer + stored_.known) << " records" << std::flush;
  }

  Database& database_;
  std::vector<Record> records_;
  Stored stored_;
  bool damaged_ = false;
  std::size_t files_ = 0;
  std::size_t expected_ = 0;
  bool shown_ = false;
  Clock::time_point flushed_ = Clock::now();
  Clock::time_point progress_ = Clock::now();
};

bool IsWanted(const fs::path& path) {
  const std::string extension = path.extension().string();
  return extension == kRecordFile || std::ranges::find(kLogFiles, extension) != kLogFiles.end();
}

std::vector<std::string> FilesIn(const std::string& folder) {
  std::vector<std::string> files;
  std::error_code error;
  const auto options = fs::directory_options::skip_permission_denied;
  for (fs::recursive_directory_iterator entry(folder, options, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code gone;
    if (entry->is_regular_file(gone) && IsWanted(entry->path())) files.push_back(entry->path().string());
  }
  if (error) throw std::runtime_error(Clean(folder) + " cannot be searched: " + error.message());
  std::ranges::sort(files);
  return files;
}

// What tells a changed file.
struct State {
  std::uintmax_t size = 0;
  fs::file_time_type time;
  bool operator==(const State&) const = default;
};

// Adds each file once it has rested between two looks, and again when it has changed.
class Watch {
 public:
  Watch(Adder& adder, const Sources& sources) : adder_(adder), sources_(sources) {}

  void Look() {
    bool added = false;
    for (const std::string& path : sources_.paths) {
      const std::vector<std::string> files = fs::is_directory(path) ? FilesIn(path) : std::vector{path};
      for (const std::string& file : files) added = LookAt(file) || added;
    }
    if (!added) return;
    adder_.Flush();
    adder_.Report();
  }

 private:
  bool LookAt(const std::string& file) {
    std::error_code gone;
    const State now{fs::file_size(file, gone), fs::last_write_time(file, gone)};
    if (gone) return false;
    const bool rested = std::exchange(seen_[file], now) == now;
    if (!rested || (added_.contains(file) && added_[file] == now)) return false;
    added_[file] = now;
    adder_.AddFile(file, false);
    return true;
  }

  Adder& adder_;
  const Sources& sources_;
  std::map<std::string, State> seen_;
  std::map<std::string, State> added_;
};

void CheckPaths(const Sources& sources) {
  for (const std::string& path : sources.paths) {
    const bool input = path == kStandardInput;
    if (input && sources.watch) throw std::runtime_error("--watch follows folders and files, not standard input");
    if (!input && !fs::exists(path)) throw std::runtime_error(Clean(path) + " does not exist");
  }
}

void AddOnce(Adder& adder, const Sources& sources) {
  struct File {
    std::string path;
    bool named;
  };
  std::vector<File> files;
  for (const std::string& path : sources.paths) {
    const bool folder = fs::is_directory(path);
    for (const std::string& file : folder ? FilesIn(path) : std::vector{path}) files.push_back({file, !folder});
  }
  adder.Expect(files.size());
  for (const File& file : files) {
    if (file.path == kStandardInput) {
      adder.AddLines(std::cin, "standard input", false);
    } else {
      adder.AddFile(file.path, file.named);
    }
  }
  adder.Flush();
  adder.Report();
}

}  // namespace

bool Add(Database& database, const Sources& sources) {
  CheckPaths(sources);
  Adder adder(database);
  if (!sources.watch) {
    AddOnce(adder, sources);
    return !adder.damaged();
  }
  std::signal(SIGINT, Stop);
  std::signal(SIGTERM, Stop);
  const auto start = Clock::now();
  Watch watch(adder, sources);
  while (stop == 0 && (!sources.seconds || Clock::now() - start < std::chrono::seconds(*sources.seconds))) {
    watch.Look();
    std::this_thread::sleep_for(kLook);
  }
  std::cout << "stopped" << std::endl;
  return !adder.damaged();
}

}  // namespace mfgline
