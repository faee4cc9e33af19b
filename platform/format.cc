// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/format.h"

#include <algorithm>
#include <array>

namespace {

using Kind = FormatArgument::Kind;

// Where conversions take their arguments from: described ones, or the argument
// list of a variadic function, which has no end and no types to check.
struct ArgumentSource {
  std::span<const FormatArgument> described;
  __builtin_ms_va_list* variadic = nullptr;
};

struct Conversion {
  std::size_t width = 0;
  std::size_t field = 0;
  bool has_field = false;
  bool at_left = false;
  bool pad_with_zeros = false;
  bool is_long = false;
  char16_t letter = 0;
};

struct Output {
  std::span<char16_t> buffer;
  std::size_t length = 0;
};

// The longest text a conversion of a number or a GUID produces.
using ValueText = std::array<char16_t, 40>;

constexpr std::size_t kWidthLimit = 4096;

bool Take(ArgumentSource& source, Kind kind, std::uint64_t* value) {
  if (source.variadic != nullptr) {
    // Every argument of the Microsoft x64 convention fills one 8-byte slot.
    *value = __builtin_va_arg(*source.variadic, std::uint64_t);
    return true;
  }
  if (source.described.empty()) return false;
  const FormatArgument argument = source.described.front();
  source.described = source.described.subspan(1);
  *value = argument.value;
  return argument.kind == kind;
}

void Put(Output& out, char16_t c) {
  if (out.length + 1 < out.buffer.size()) out.buffer[out.length++] = c;
}

void PutRepeated(Output& out, char16_t c, std::size_t count) {
  while (count-- > 0) Put(out, c);
}

std::size_t ParseNumber(const char16_t** cursor) {
  std::size_t number = 0;
  for (; format_internal::IsDigit(**cursor); ++*cursor) {
    number = std::min(number * 10 + (**cursor - u'0'), kWidthLimit);
  }
  return number;
}

// Parses what follows a percent sign and leaves the cursor on the letter.
Conversion Parse(const char16_t** cursor) {
  Conversion conversion;
  if (**cursor == u'0') {
    conversion.pad_with_zeros = true;
    ++*cursor;
  }
  conversion.width = ParseNumber(cursor);
  if (**cursor == u'.') {
    ++*cursor;
    conversion.has_field = true;
    if (**cursor == u'-') {
      conversion.at_left = true;
      ++*cursor;
    }
    conversion.field = ParseNumber(cursor);
  }
  if (**cursor == u'l') {
    conversion.is_long = true;
    ++*cursor;
  }
  conversion.letter = **cursor;
  return conversion;
}

template <class Character>
std::size_t BoundedLength(const Character* text, std::size_t limit) {
  std::size_t length = 0;
  while (length < limit && text[length] != 0) ++length;
  return length;
}

// Puts text into its column: width pads the value, field is the column.
template <class Character>
void PutColumn(Output& out, const Conversion& conversion, const Character* text, std::size_t length) {
  const std::size_t padded = std::max(length, conversion.width);
  const std::size_t margin = conversion.field > padded ? conversion.field - padded : 0;
  if (!conversion.at_left) PutRepeated(out, u' ', margin);
  PutRepeated(out, conversion.pad_with_zeros ? u'0' : u' ', padded - length);
  for (std::size_t i = 0; i < length; ++i) Put(out, static_cast<std::make_unsigned_t<Character>>(text[i]));
  if (conversion.at_left) PutRepeated(out, u' ', margin);
}

template <class Character>
void PutString(Output& out, const Conversion& conversion, const Character* text) {
  if (text == nullptr) return PutColumn(out, conversion, u"(null)", 6);
  const std::size_t limit = conversion.has_field ? conversion.field : out.buffer.size();
  PutColumn(out, conversion, text, BoundedLength(text, limit));
}

std::span<const char16_t> Digits(ValueText& text, std::uint64_t value, unsigned base, bool upper) {
  const char16_t* const digits = upper ? u"0123456789ABCDEF" : u"0123456789abcdef";
  std::size_t first = text.size();
  do {
    text[--first] = digits[value % base];
    value /= base;
  } while (value != 0);
  return std::span(text).subspan(first);
}

void PutUnsigned(Output& out, const Conversion& conversion, std::uint64_t value, unsigned base, bool upper) {
  ValueText text;
  const auto digits = Digits(text, value, base, upper);
  PutColumn(out, conversion, digits.data(), digits.size());
}

void PutSigned(Output& out, const Conversion& conversion, std::int64_t value) {
  if (value >= 0) return PutUnsigned(out, conversion, static_cast<std::uint64_t>(value), 10, false);
  ValueText text;
  const auto digits = Digits(text, std::uint64_t{0} - static_cast<std::uint64_t>(value), 10, false);
  const std::size_t first = text.size() - digits.size() - 1;
  text[first] = u'-';
  PutColumn(out, conversion, &text[first], text.size() - first);
}

void PutNumber(Output& out, Conversion conversion, std::uint64_t value) {
  const std::uint64_t bits = conversion.is_long ? value : static_cast<std::uint32_t>(value);
  switch (conversion.letter) {
    case u'd':
      return PutSigned(out, conversion,
                       conversion.is_long ? static_cast<std::int64_t>(bits) : static_cast<std::int32_t>(bits));
    case u'u':
      return PutUnsigned(out, conversion, bits, 10, false);
    case u'X':
      conversion.width = conversion.is_long ? 16 : 8;
      conversion.pad_with_zeros = true;
      return PutUnsigned(out, conversion, bits, 16, true);
    default:
      return PutUnsigned(out, conversion, bits, 16, false);
  }
}

void PutHex(ValueText& text, std::size_t& length, std::uint64_t value, unsigned digits) {
  while (digits-- > 0) text[length++] = u"0123456789abcdef"[(value >> (4 * digits)) & 0xF];
}

void PutGuid(Output& out, const Conversion& conversion, const EFI_GUID* guid) {
  if (guid == nullptr) return PutString<char16_t>(out, conversion, nullptr);
  ValueText text;
  std::size_t length = 0;
  PutHex(text, length, guid->Data1, 8);
  text[length++] = u'-';
  PutHex(text, length, guid->Data2, 4);
  text[length++] = u'-';
  PutHex(text, length, guid->Data3, 4);
  text[length++] = u'-';
  for (std::size_t i = 0; i < sizeof guid->Data4; ++i) {
    if (i == 2) text[length++] = u'-';
    PutHex(text, length, guid->Data4[i], 2);
  }
  PutColumn(out, conversion, text.data(), conversion.has_field ? std::min(length, conversion.field) : length);
}

void PutConversion(Output& out, const Conversion& conversion, ArgumentSource& source) {
  std::uint64_t value = 0;
  switch (conversion.letter) {
    case u'%':
      return Put(out, u'%');
    case u'd':
    case u'u':
    case u'x':
    case u'X':
      if (Take(source, Kind::kNumber, &value)) PutNumber(out, conversion, value);
      return;
    case u'c':
      if (Take(source, Kind::kNumber, &value)) {
        const auto character = static_cast<char16_t>(value);
        PutColumn(out, conversion, &character, 1);
      }
      return;
    case u's':
      if (Take(source, Kind::kText, &value)) PutString(out, conversion, reinterpret_cast<const char16_t*>(value));
      return;
    case u'a':
      if (Take(source, Kind::kAscii, &value)) PutString(out, conversion, reinterpret_cast<const char*>(value));
      return;
    case u'g':
      if (Take(source, Kind::kGuid, &value)) PutGuid(out, conversion, reinterpret_cast<const EFI_GUID*>(value));
      return;
    default:
      // Not a conversion of ours: it takes no argument and shows as it stands.
      Put(out, u'%');
      return Put(out, conversion.letter);
  }
}

std::size_t FormatFrom(std::span<char16_t> buffer, const char16_t* format, ArgumentSource source) {
  Output out{buffer};
  for (; *format != 0; ++format) {
    if (*format != u'%') {
      Put(out, *format);
      continue;
    }
    ++format;
    const Conversion conversion = Parse(&format);
    if (conversion.letter == 0) break;
    PutConversion(out, conversion, source);
  }
  if (!buffer.empty()) buffer[out.length] = 0;
  return out.length;
}

}  // namespace

WideFormat::WideFormat(const char* format) {
  std::size_t i = 0;
  do {
    text[i] = static_cast<unsigned char>(format[i]);
  } while (format[i++] != 0);
}

std::size_t FormatArguments(std::span<char16_t> out, const char* format, std::span<const FormatArgument> arguments) {
  return FormatArguments(out, WideFormat(format).text.data(), arguments);
}

std::size_t FormatArguments(std::span<char16_t> out, const char16_t* format,
                            std::span<const FormatArgument> arguments) {
  return FormatFrom(out, format, {.described = arguments});
}

std::size_t FormatVariadic(std::span<char16_t> out, const char16_t* format, __builtin_ms_va_list arguments) {
  return FormatFrom(out, format, {.described = {}, .variadic = &arguments});
}
