#include "report/parameters.h"

#include "platform/collation.h"
#include "platform/text.h"

namespace mfgtest {

ReferencePrefix::ReferencePrefix(const char16_t* value) { CopyChars(text.data(), value, kReferencePrefixCharacters); }

bool ReferencePrefix::NamesVariable() const { return platform::EqualIgnoringCase(text.data(), u"env="); }

}  // namespace mfgtest
