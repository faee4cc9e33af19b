// What the operator asks the driver for.
#pragma once

#include <string_view>

#include "drivers/ipmi_kcs/error_text.h"
#include "drivers/ipmi_kcs/registers.h"

namespace ipmi_kcs {

struct Options {
  bool help = false;
  bool has_address = false;
  bool port = false;  // even where the firmware has an IPMI protocol
  Registers registers;
};

// Options and their values as words between blanks or "="; the dashes may be
// left out. On failure gives false and the reason.
bool ReadOptions(std::u16string_view text, Options* options, ErrorText& error);

extern const char16_t* const kHelpText;

}  // namespace ipmi_kcs
