// The bridge from the XSDT, of 64-bit addresses, to the RSDT of ACPI 1.0.
#pragma once

#include "drivers/smbios_entry/offer.h"

namespace smbios_entry {

// Offers an ACPI 1.0 RSDP with an RSDT that has the XSDT's header and those of
// its entries that 32 bits can hold, and says so. EFI_ALREADY_STARTED when the
// firmware's own RSDP leads to an RSDT, or there is no XSDT either; any other
// error after saying what is wrong.
EFI_STATUS OfferAcpi(Offer& offer);

}  // namespace smbios_entry
