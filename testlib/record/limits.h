// SPDX-License-Identifier: BSD-2-Clause-Patent
// What the tests hold against the results that Autosense publishes under the
// names of parameters.
#pragma once

#include "testlib/parameters.h"
#include "testlib/record/json_line.h"

namespace testlib {

// The result as its test compares it: some take trailing blanks off.
std::u16string_view Compared(std::u16string_view name, std::u16string_view value);

// The member "validators", when the name is that of a parameter whose value is
// given and compared.
void AddLimits(JsonLine& line, const ParameterStore& parameters, std::u16string_view name);

using VariableText = std::array<char16_t, 256>;

// The value for a reader: that of a variable for "env=NAME". False, with an empty
// value, when there is no such variable.
bool Resolve(const char16_t* value, VariableText& resolved);

// Whether the value is "env=NAME", in any case.
bool NamesVariable(std::u16string_view value);

}  // namespace testlib
