// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "smbios/entry_point.h"

#include <cstring>

#include "platform/configuration_tables.h"
#include "platform/memory.h"
#include "report/last_error.h"

namespace mfgtest {
namespace {

constexpr EFI_GUID kSmbiosTableGuid = {0xEB9D2D31, 0x2D88, 0x11D3, {0x9A, 0x16, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};

constexpr std::uint64_t kBiosSegment = 0xF0000;
constexpr std::uint32_t kSearchEnd = 0xFFFC;

}  // namespace

const SmbiosEntryPoint* ListedSmbiosEntryPoint() {
  const void* listed = nullptr;
  return platform::FindConfigurationTable(kSmbiosTableGuid, &listed) ? static_cast<const SmbiosEntryPoint*>(listed)
                                                                     : nullptr;
}

// Any byte offset will do: not every BIOS keeps to the paragraph alignment.
const SmbiosEntryPoint* SearchSmbiosEntryPoint() {
  const std::uint8_t* const segment = platform::PhysicalMemory(kBiosSegment);
  for (std::uint32_t offset = 0; offset < kSearchEnd; ++offset) {
    if (std::memcmp(segment + offset, "_SM_", 4) == 0) {
      return reinterpret_cast<const SmbiosEntryPoint*>(segment + offset);
    }
  }
  return nullptr;
}

bool GetSmbiosEntryPoint(const SmbiosEntryPoint** entry) {
  *entry = ListedSmbiosEntryPoint();
  if (*entry != nullptr) return true;
  SetLastError("SMBIOS Table not found with GUID, trying memory search.\n");
  *entry = SearchSmbiosEntryPoint();
  if (*entry != nullptr) return true;
  SetLastError("Unable to find SMBIOS table entry point.\n");
  return false;
}

}  // namespace mfgtest
