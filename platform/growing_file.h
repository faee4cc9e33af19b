// SPDX-License-Identifier: BSD-2-Clause-Patent
// A file that grows piece by piece and is closed in between, so that what was
// written survives whatever comes next.
#pragma once

#include <array>
#include <span>

#include "platform/efi.h"

namespace platform {

struct FilePlace {
  // Whose driver finds the path from its root; null for a path as the shell
  // finds it.
  EFI_HANDLE volume;
  std::array<char16_t, 512> path;
};

struct GrowingFile {
  FilePlace place;
  std::uint64_t size;  // of what was written
};

// Success when there is something at the place; EFI_NOT_FOUND when the volume
// answers and there is nothing.
EFI_STATUS LookAt(const FilePlace& place, bool* is_folder);

// Makes a folder, unless there is one.
EFI_STATUS MakeFolder(const FilePlace& place);

// Makes an empty file where none is yet.
EFI_STATUS CreateFile(const FilePlace& place);

// Writes behind what was written. On failure the file is cut to what it held
// before, as far as its volume still allows. A smaller file, on a volume that was
// put in the place of the first, is left as it is.
EFI_STATUS Append(GrowingFile& file, std::span<const char> content);

}  // namespace platform
