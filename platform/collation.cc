// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/collation.h"

#include "platform/handles.h"
#include "platform/protocols/unicode_collation.h"
#include "platform/text.h"

namespace platform {
namespace {

UnicodeCollation* FindCollation() {
  auto* const collation = FirstInterface<UnicodeCollation>(kUnicodeCollation2ProtocolGuid);
  return collation != nullptr ? collation : FirstInterface<UnicodeCollation>(kUnicodeCollationProtocolGuid);
}

}  // namespace

bool EqualIgnoringCase(const char16_t* a, const char16_t* b) {
  UnicodeCollation* const collation = FindCollation();
  if (collation != nullptr) return collation->StriColl(collation, a, b) == 0;
  while (*a != 0 && ToUpperAscii(*a) == ToUpperAscii(*b)) ++a, ++b;
  return ToUpperAscii(*a) == ToUpperAscii(*b);
}

}  // namespace platform
