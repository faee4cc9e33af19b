// SPDX-License-Identifier: BSD-2-Clause-Patent
// UCS-2 text formatting, shared by the module and the test library.
//
// A conversion is %[0][width][.[-]field][l]c:
//   width   pads on the left, with blanks or, after 0, with zeros
//   field   the width of the column the value stands in; text longer than the
//           column is cut, numbers never are; "-" puts the value at its left end
//   l       the number has 64 bits instead of 32
//   d u     decimal, signed or unsigned      x  hexadecimal, lower case
//   X       hexadecimal, upper case, always 8 digits (16 with l)
//   s a     UCS-2 or 8-bit text; a null pointer prints "(null)"
//   c       one character                    g  a GUID, lower case
//   %       a percent sign
// Line ends stay as written.
//
// A format in the sources is an ASCII literal: there are hundreds, and in UCS-2
// they would be the largest part of an image. It is widened where it is used.
#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <span>
#include <string_view>
#include <type_traits>

#include "platform/efi.h"

// One argument of a formatted text, with enough of its type that a conversion
// which does not fit it can be refused.
struct FormatArgument {
  enum class Kind : std::uint8_t { kNumber, kText, kAscii, kGuid };
  Kind kind;
  std::uint64_t value;
};

namespace format_internal {

constexpr bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

inline constexpr std::size_t kLongestFormat = 600;

// Not constexpr: reaching a call to it stops the compilation.
inline void ConversionDoesNotFitItsArgument() {}
inline void TooFewOrTooManyArguments() {}
inline void NotAscii() {}
inline void LongerThanTheBufferThatWidensIt() {}

// What an argument can be converted by.
enum class ArgumentClass : std::uint8_t { kNumber32, kNumber64, kCharacter, kText, kAscii, kGuid, kOther };

template <class Arg>
consteval ArgumentClass ClassOf() {
  using T = std::decay_t<Arg>;
  using Pointee = std::remove_cv_t<std::remove_pointer_t<T>>;
  if constexpr (std::same_as<T, char16_t>) return ArgumentClass::kCharacter;
  if constexpr (std::integral<T>) return sizeof(T) == 8 ? ArgumentClass::kNumber64 : ArgumentClass::kNumber32;
  if constexpr (!std::is_pointer_v<T>) return ArgumentClass::kOther;
  if constexpr (std::same_as<Pointee, char16_t>) return ArgumentClass::kText;
  if constexpr (std::same_as<Pointee, char>) return ArgumentClass::kAscii;
  if constexpr (std::same_as<Pointee, EFI_GUID>) return ArgumentClass::kGuid;
  return ArgumentClass::kOther;
}

consteval bool Accepts(char conversion, bool is_long, ArgumentClass argument) {
  switch (conversion) {
    case 'd':
    case 'u':
    case 'x':
    case 'X':
      return argument == (is_long ? ArgumentClass::kNumber64 : ArgumentClass::kNumber32);
    case 'c':
      return argument == ArgumentClass::kCharacter;
    case 's':
      return argument == ArgumentClass::kText;
    case 'a':
      return argument == ArgumentClass::kAscii;
    case 'g':
      return argument == ArgumentClass::kGuid;
    default:
      return false;
  }
}

consteval void Check(const char* text, std::span<const ArgumentClass> arguments) {
  const std::string_view whole(text);
  if (whole.size() > kLongestFormat) LongerThanTheBufferThatWidensIt();
  if (std::ranges::any_of(whole, [](char c) { return c < 0; })) NotAscii();
  std::size_t used = 0;
  for (; *text != 0; ++text) {
    if (*text != '%') continue;
    ++text;
    while (IsDigit(static_cast<char16_t>(*text)) || *text == '.' || *text == '-') ++text;
    const bool is_long = *text == 'l';
    if (is_long) ++text;
    if (*text == '%') continue;
    if (used == arguments.size()) return TooFewOrTooManyArguments();
    if (!Accepts(*text, is_long, arguments[used++])) ConversionDoesNotFitItsArgument();
  }
  if (used != arguments.size()) TooFewOrTooManyArguments();
}

template <class T>
FormatArgument Describe(const T& argument) {
  using Kind = FormatArgument::Kind;
  if constexpr (std::signed_integral<T>) {
    return {Kind::kNumber, static_cast<std::uint64_t>(static_cast<std::int64_t>(argument))};
  } else if constexpr (std::integral<T>) {
    return {Kind::kNumber, static_cast<std::uint64_t>(argument)};
  } else {
    using Pointee = std::remove_cv_t<std::remove_pointer_t<std::decay_t<T>>>;
    constexpr Kind kind = std::same_as<Pointee, char16_t> ? Kind::kText
                          : std::same_as<Pointee, char>   ? Kind::kAscii
                                                          : Kind::kGuid;
    const Pointee* const pointer = argument;
    return {kind, reinterpret_cast<std::uint64_t>(pointer)};
  }
}

}  // namespace format_internal

// A format whose conversions were compared with the argument types when the
// caller was compiled.
template <class... Args>
struct CheckedFormat {
  consteval CheckedFormat(const char* format) : text(format) {
    // One element too many: there are no arrays without elements.
    const format_internal::ArgumentClass classes[] = {format_internal::ClassOf<Args>()...,
                                                      format_internal::ArgumentClass::kOther};
    format_internal::Check(format, std::span(classes).first(sizeof...(Args)));
  }
  // A format that was checked for arguments of the same classes: what it asks of
  // const text it asks of other text.
  template <class... Others>
  requires(sizeof...(Others) == sizeof...(Args) &&
           ((format_internal::ClassOf<Others>() == format_internal::ClassOf<Args>()) &&
            ...)) constexpr CheckedFormat(CheckedFormat<Others...> other)
      : text(other.text) {}
  const char* text;
};
template <class... Args>
using Format = CheckedFormat<std::type_identity_t<Args>...>;

// A format as firmware and the test library read it.
struct WideFormat {
  explicit WideFormat(const char* format);
  std::array<char16_t, format_internal::kLongestFormat + 1> text;
};

// Writes the formatted text and its terminator into `out`, cut to what fits.
// Returns the number of characters before the terminator. A conversion for which
// there is no argument, or one of another kind, prints nothing, so a format
// that comes from outside cannot read memory.
std::size_t FormatArguments(std::span<char16_t> out, const char16_t* format, std::span<const FormatArgument> arguments);

// The same for a format that was checked.
std::size_t FormatArguments(std::span<char16_t> out, const char* format, std::span<const FormatArgument> arguments);

// The same for the arguments of an EFIAPI variadic function.
std::size_t FormatVariadic(std::span<char16_t> out, const char16_t* format, __builtin_ms_va_list arguments);

template <class... Args>
std::size_t FormatText(std::span<char16_t> out, Format<Args...> format, const Args&... arguments) {
  if constexpr (sizeof...(Args) == 0) {
    return FormatArguments(out, format.text, {});
  } else {
    const FormatArgument described[] = {format_internal::Describe(arguments)...};
    return FormatArguments(out, format.text, described);
  }
}
