// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/parameters.h"

#include <algorithm>

#include "platform/format.h"
#include "testlib/text_part.h"

namespace testlib {
namespace {

bool IsNameCharacter(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'_';
}

// The value of a digit; 16 for what is none.
unsigned DigitValue(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'f') return c - u'a' + 10u;
  if (c >= u'A' && c <= u'F') return c - u'A' + 10u;
  return 16;
}

bool CheckTexts(std::u16string_view name, std::u16string_view value, ErrorText& error) {
  if (name.empty() || !std::ranges::all_of(name, IsNameCharacter)) {
    FormatText(error, "a parameter's name has letters, digits and underscores only");
    return false;
  }
  if (name.size() > kNameCharacters) {
    FormatText(error, "the parameter's name is longer than %lu characters", kNameCharacters);
    return false;
  }
  if (value.size() > kValueCharacters) {
    FormatText(error, "the value is longer than %lu characters", kValueCharacters);
    return false;
  }
  return true;
}

}  // namespace

bool Define(ParameterStore& store, std::u16string_view name, std::u16string_view value, Origin origin,
            ErrorText& error) {
  if (!CheckTexts(name, value, error)) return false;
  const auto known = std::span(store.parameters).first(store.count);
  const auto found = std::ranges::find_if(known, [name](const Parameter& p) { return Holds(p.name, name); });
  if (found == known.end() && store.count == kParameters) {
    FormatText(error, "there are more than %lu parameters", kParameters);
    return false;
  }
  Parameter& parameter = store.parameters[static_cast<std::size_t>(found - known.begin())];
  if (found == known.end()) {
    Assign(parameter.name, name);
    ++store.count;
  } else if (parameter.origin.source == origin.source) {
    FormatText(error, "%s is given a second time; give it once", parameter.name.data());
    return false;
  }
  Assign(parameter.value, value);
  parameter.origin = origin;
  return true;
}

const Parameter* Find(const ParameterStore& store, const char16_t* name) {
  for (const Parameter& parameter : store.All()) {
    if (Holds(parameter.name, name)) return &parameter;
  }
  return nullptr;
}

bool ParseNumber(std::u16string_view text, std::uint32_t* number) {
  const bool hexadecimal = text.starts_with(u"0x") || text.starts_with(u"0X");
  const unsigned base = hexadecimal ? 16 : 10;
  if (hexadecimal) text.remove_prefix(2);
  if (text.empty()) return false;
  std::uint64_t value = 0;
  for (const char16_t c : text) {
    const unsigned digit = DigitValue(c);
    if (digit >= base) return false;
    value = value * base + digit;
    if (value > UINT32_MAX) return false;
  }
  *number = static_cast<std::uint32_t>(value);
  return true;
}

TestLibraryStatus CopyValue(const Parameter& parameter, char16_t* value, std::size_t bytes) {
  const std::size_t characters = std::u16string_view(parameter.value.data()).size() + 1;
  if (characters > bytes / sizeof(char16_t)) return kTestLibraryBufferTooSmall;
  std::copy_n(parameter.value.data(), characters, value);
  return kTestLibrarySuccess;
}

}  // namespace testlib
