// SPDX-License-Identifier: BSD-2-Clause-Patent
// Comparison of text without regard to case.
#pragma once

namespace platform {

// Compares through the firmware's Unicode collation protocol. gnu-efi's own
// comparison ignores case only on firmware that keeps the EFI 1.x variable
// `Lang`, so the protocol is looked up here: the UEFI 2 one, else the original
// one; without either, ASCII letters are folded.
bool EqualIgnoringCase(const char16_t* a, const char16_t* b);

}  // namespace platform
