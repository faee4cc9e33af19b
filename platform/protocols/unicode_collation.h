// SPDX-License-Identifier: BSD-2-Clause-Patent
// The Unicode collation protocol (UEFI 2, Unicode Collation Protocol). The EFI
// 1.x protocol of another GUID has the same members.
#pragma once

#include "platform/efi.h"

inline constexpr EFI_GUID kUnicodeCollation2ProtocolGuid = {
    0xA4C751FC, 0x23AE, 0x4C3E, {0x92, 0xE9, 0x49, 0x64, 0xCF, 0x63, 0xF3, 0x49}};
inline constexpr EFI_GUID kUnicodeCollationProtocolGuid = {
    0x1D85CD7F, 0xF43D, 0x11D2, {0x9A, 0x0C, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};

struct UnicodeCollation {
  INTN(EFIAPI* StriColl)(UnicodeCollation* self, const char16_t* a, const char16_t* b);
  BOOLEAN(EFIAPI* MetaiMatch)(UnicodeCollation* self, const char16_t* text, const char16_t* pattern);
  void(EFIAPI* StrLwr)(UnicodeCollation* self, char16_t* text);
  void(EFIAPI* StrUpr)(UnicodeCollation* self, char16_t* text);
  void(EFIAPI* FatToStr)(UnicodeCollation* self, UINTN fat_size, const char* fat, char16_t* text);
  BOOLEAN(EFIAPI* StrToFat)(UnicodeCollation* self, const char16_t* text, UINTN fat_size, char* fat);
  const char* SupportedLanguages;
};

static_assert(offsetof(UnicodeCollation, StrUpr) == 24);
static_assert(offsetof(UnicodeCollation, SupportedLanguages) == 48);
