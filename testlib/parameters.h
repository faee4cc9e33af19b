// The parameters of a run and where each came from.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include "platform/protocols/test_library.h"

namespace testlib {

inline constexpr std::size_t kParameters = 512;
inline constexpr std::size_t kNameCharacters = 63;
inline constexpr std::size_t kValueCharacters = 255;

// What a reader of parameters says when it refuses something.
using ErrorText = std::array<char16_t, 512>;

// Where a parameter was given: a line of the source-th file, or a word of the
// command line.
struct Origin {
  static constexpr std::uint16_t kCommandLine = 0xFFFF;
  std::uint16_t source = kCommandLine;
  std::uint32_t line = 0;
};

struct Parameter {
  std::array<char16_t, kNameCharacters + 1> name;
  std::array<char16_t, kValueCharacters + 1> value;
  Origin origin;
};

// In the order in which the names were first given. Names are case-sensitive,
// as the tests write them.
struct ParameterStore {
  std::array<Parameter, kParameters> parameters;
  std::size_t count;

  std::span<const Parameter> All() const { return std::span(parameters).first(count); }
  std::span<Parameter> All() { return std::span(parameters).first(count); }
};

// Adds a parameter, or replaces the one that an earlier source gave. Refused,
// with the reason in `error`: a name that is none, a second value from the same
// source, text that is too long, a full store.
bool Define(ParameterStore& store, std::u16string_view name, std::u16string_view value, Origin origin,
            ErrorText& error);

// The parameter of that name, or null.
const Parameter* Find(const ParameterStore& store, const char16_t* name);
inline Parameter* Find(ParameterStore& store, const char16_t* name) {
  return const_cast<Parameter*>(Find(std::as_const(store), name));
}

// A number of at most 32 bits: decimal digits, or hexadecimal ones after 0x.
bool ParseNumber(std::u16string_view text, std::uint32_t* number);

// Copies the value with its terminator into `bytes` bytes at `value`, which
// stay as they were when it does not fit.
TestLibraryStatus CopyValue(const Parameter& parameter, char16_t* value, std::size_t bytes);

}  // namespace testlib
