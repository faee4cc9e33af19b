// Where SMBIOS says that the management controller is (DSP0134, type 38, "IPMI
// Device Information").
#pragma once

#include <span>

#include "drivers/ipmi_kcs/error_text.h"
#include "drivers/ipmi_kcs/registers.h"

namespace ipmi_kcs {

// The structure table that the firmware's configuration tables list, by its
// 64-bit entry point where there is one; empty when there is none. A 64-bit
// entry point tells only how large the table is at most.
std::span<const std::uint8_t> SmbiosTable();

// The registers of the first KCS interface in a structure table. On failure
// gives false and the reason, and leaves `registers` alone.
bool FindRegisters(std::span<const std::uint8_t> table, Registers* registers, ErrorText& error);

}  // namespace ipmi_kcs
