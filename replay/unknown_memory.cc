// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "replay/unknown_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace replay {
namespace {

constexpr std::uint64_t kPage = 4096;
constexpr std::uint64_t kEnd = std::uint64_t{1} << 32;
constexpr int kErased = 0xFF;

std::array<std::uint64_t, 16> pages;
std::size_t page_count = 0;

// A fault where memory is already there is a write, or none of ours.
bool MapErased(std::uint64_t page) {
  void* const mapped = mmap(reinterpret_cast<void*>(page), kPage, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
  if (mapped == MAP_FAILED) return false;
  std::memset(mapped, kErased, kPage);
  mprotect(mapped, kPage, PROT_READ);
  return true;
}

void OnFault(int, siginfo_t* fault, void*) {
  const auto address = reinterpret_cast<std::uintptr_t>(fault->si_addr);
  const std::uint64_t page = address / kPage * kPage;
  if (address < kEnd && MapErased(page)) {
    if (page_count < pages.size()) pages[page_count++] = page;
    return;
  }
  char text[120];
  const int length = std::snprintf(text, sizeof text, "replay: the run used memory at 0x%llx that it may not use\n",
                                   static_cast<unsigned long long>(address));
  [[maybe_unused]] const auto written = write(STDERR_FILENO, text, static_cast<std::size_t>(length));
  _exit(2);
}

}  // namespace

void ServeUnknownMemory() {
  struct sigaction action {};
  action.sa_sigaction = OnFault;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGSEGV, &action, nullptr);
}

std::span<const std::uint64_t> UnknownPages() { return std::span(pages).first(page_count); }

}  // namespace replay
