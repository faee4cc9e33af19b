// Where SMBIOS says that the management controller is (DSP0134, type 38, "IPMI
// Device Information").
#pragma once

#include <span>

#include "drivers/ipmi_kcs/error_text.h"
#include "drivers/ipmi_kcs/registers.h"
#include "platform/efi.h"

namespace ipmi_kcs {

// The structure table that the firmware's configuration tables list, by its
// 64-bit entry point where there is one; empty when there is none.
std::span<const std::uint8_t> SmbiosTable();

// The registers of the first KCS interface in a structure table. On failure
// gives the reason, too, and leaves `registers` alone: EFI_NOT_FOUND when no
// address is there, EFI_UNSUPPORTED for a controller behind another interface.
EFI_STATUS FindRegisters(std::span<const std::uint8_t> table, Registers* registers, ErrorText& error);

}  // namespace ipmi_kcs
