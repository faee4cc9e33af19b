// SPDX-License-Identifier: BSD-2-Clause-Patent
// What one run of dump.efi shares: where it writes, what it was told, and what
// the index of the dump says so far.
#pragma once

#include <array>

#include "dump/json.h"
#include "platform/efi.h"
#include "platform/format.h"
#include "testlib/parameters.h"

namespace dump {

using FileName = std::array<char16_t, 32>;
using Reason = std::array<char16_t, 160>;

struct WrittenFile {
  FileName name;
  std::size_t size;
  std::uint32_t crc32;
  std::uint64_t address;  // where the bytes lay in memory; 0 for nowhere
};

struct MissingPart {
  std::array<char16_t, 64> what;
  Reason why;
};

struct Dump {
  static constexpr std::size_t kFiles = 64;
  static constexpr std::size_t kMissing = 64;

  EFI_HANDLE image;
  // With a backslash at its end; of the image's own volume, or as the shell
  // finds it.
  std::array<char16_t, 512> folder;
  bool is_on_own_volume;
  EFI_STATUS write_status;  // of the first file that could not be written

  std::array<WrittenFile, kFiles> files;
  std::size_t file_count;
  std::array<MissingPart, kMissing> missing;
  std::size_t missing_count;

  Json index;  // machine.json
  testlib::ParameterStore parameters;
  // The step that runs builds its file here.
  static constexpr std::size_t kRoom = 512 * 1024;
  std::array<std::uint8_t, kRoom> room;
  std::array<char, 128 * 1024> index_room;
};

extern constinit Dump* the_dump;

// Writes a file into the dump and keeps it for the index.
void WritePart(const char16_t* name, std::span<const std::uint8_t> content, std::uint64_t address = 0);

// A part that is not in the dump, and why.
void Miss(const char16_t* what, const char16_t* why);
template <class... Args>
void Miss(const char16_t* what, Format<Args...> format, const Args&... arguments) {
  Reason why;
  FormatText(why, format, arguments...);
  Miss(what, why.data());
}

// A parameter as a number. False without one.
bool GetNumber(const char16_t* name, std::uint32_t* number);

// The steps, each for some files or members of the index. A device that fails
// costs its own part only.
void DumpSmbios();
void DumpAcpi();
void DumpEventLog();
void DumpController();
void DumpFrus();
void DumpNetwork();
void DumpPci();
void DumpVariables();
void DumpFlash();
void DumpStoredGuid();

// The access layers report to a test library. Theirs is one that says nothing,
// knows the parameters of the dump and waits no longer than a bus needs.
void BindSilentLibrary();

}  // namespace dump
