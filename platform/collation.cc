#include "platform/collation.h"

#include "platform/handles.h"
#include "platform/protocols/unicode_collation.h"

namespace platform {
namespace {

UnicodeCollation* FindCollation() {
  auto* const collation = FirstInterface<UnicodeCollation>(kUnicodeCollation2ProtocolGuid);
  return collation != nullptr ? collation : FirstInterface<UnicodeCollation>(kUnicodeCollationProtocolGuid);
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
