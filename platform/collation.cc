#include "platform/collation.h"

#include <initializer_list>

#include "platform/protocols/unicode_collation.h"

namespace platform {
namespace {

UnicodeCollation* FindCollation() {
  void* collation = nullptr;
  for (const EFI_GUID& guid : {kUnicodeCollation2ProtocolGuid, kUnicodeCollationProtocolGuid}) {
    if (!EFI_ERROR(LibLocateProtocol(AsFirmwareGuid(guid), &collation)) && collation != nullptr) break;
  }
  return static_cast<UnicodeCollation*>(collation);
}

char16_t FoldAscii(char16_t c) { return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - u'a' + u'A') : c; }

}  // namespace

bool EqualIgnoringCase(const char16_t* a, const char16_t* b) {
  UnicodeCollation* const collation = FindCollation();
  if (collation != nullptr) return collation->StriColl(collation, a, b) == 0;
  while (*a != 0 && FoldAscii(*a) == FoldAscii(*b)) ++a, ++b;
  return FoldAscii(*a) == FoldAscii(*b);
}

}  // namespace platform
