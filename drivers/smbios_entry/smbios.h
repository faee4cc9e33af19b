// The bridge from the 64-bit SMBIOS entry point, whose table may lie anywhere
// and be of any length, to the 32-bit one (DSP0134).
#pragma once

#include "drivers/smbios_entry/offer.h"

namespace smbios_entry {

// Offers a copy of the structures with a 32-bit entry point, and says so.
// EFI_ALREADY_STARTED when the firmware lists a 32-bit entry point itself or no
// 64-bit one; any other error after saying what is wrong.
EFI_STATUS OfferSmbios(Offer& offer);

}  // namespace smbios_entry
