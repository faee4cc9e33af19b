// Whether registers may lie where somebody says that they are. A table that is
// wrong must not make the driver write into memory or into ports of the board.
#pragma once

#include "drivers/ipmi_kcs/error_text.h"
#include "drivers/ipmi_kcs/registers.h"

namespace ipmi_kcs {

// Refuses memory that the firmware lists as anything but a device's, and ports
// that belong to the chipset. On failure gives false and the reason.
bool MayBeRegisters(const Registers& registers, ErrorText& error);

}  // namespace ipmi_kcs
