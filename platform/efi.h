// SPDX-License-Identifier: BSD-2-Clause-Patent
// The one place that includes gnu-efi. Everything else gets its EFI types and
// text conversions from here; firmware services are reached through the other
// headers of this folder.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {
#include <efi.h>
#include <efilib.h>
}

// gnu-efi's CHAR16 is a 16-bit integer, the project's text is char16_t. The two
// have one representation, and these casts are the only ones between them.
inline CHAR16* AsFirmwareText(char16_t* text) { return reinterpret_cast<CHAR16*>(text); }
inline CHAR16* AsFirmwareText(const char16_t* text) {
  // Firmware interfaces take pointers to non-const text that they only read.
  return reinterpret_cast<CHAR16*>(const_cast<char16_t*>(text));
}
inline const char16_t* AsText(const CHAR16* text) { return reinterpret_cast<const char16_t*>(text); }

// Firmware interfaces take pointers to non-const GUIDs that they only read.
inline EFI_GUID* AsFirmwareGuid(const EFI_GUID& guid) { return const_cast<EFI_GUID*>(&guid); }

inline bool SameGuid(const EFI_GUID& a, const EFI_GUID& b) { return __builtin_memcmp(&a, &b, sizeof a) == 0; }

static_assert(sizeof(CHAR16) == sizeof(char16_t));
static_assert(sizeof(EFI_GUID) == 16);
static_assert(sizeof(UINTN) == 8 && sizeof(EFI_HANDLE) == 8 && sizeof(EFI_STATUS) == 8);
