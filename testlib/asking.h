// SPDX-License-Identifier: BSD-2-Clause-Patent
// Values that differ from unit to unit: a parameter whose value is one of
//   ask
//   ask:"Scan the serial number"
//   ask:"Scan the serial number" SN-[0-9]*
//   ask:SN-[0-9]*
// is answered by the operator, with a keyboard or a scanner.
#pragma once

#include "testlib/parameters.h"

namespace testlib {

struct Question {
  std::u16string_view prompt;   // empty: the parameter's name is all there is to say
  std::u16string_view pattern;  // empty: any answer
};

// Takes a question apart. False, with the reason in `error`, for one that is
// none; its texts are parts of `value`.
bool ReadQuestion(std::u16string_view value, Question* question, ErrorText& error);

// Whether the whole text fits the pattern: ? stands for one character, * for
// any number of them, [a-z05] for one of those.
bool FitsPattern(std::u16string_view text, std::u16string_view pattern);

// Puts the operator's answer in place of the question, asking until it is one
// that the parameter can take. False when the operator gives up (Escape or
// Ctrl-C) or, with answers given in advance, when none is left.
bool Ask(Parameter& parameter);

}  // namespace testlib
