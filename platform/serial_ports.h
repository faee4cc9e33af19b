// SPDX-License-Identifier: BSD-2-Clause-Patent
// The serial ports as the firmware drives them, beside the console that may use
// the same ones.
#pragma once

#include <string_view>

namespace platform {

// Writes the text to every serial port. One that does not take it, because
// nobody listens, is left alone from then on until ForgetSerialPorts. False when
// no port took the whole of it.
bool WriteSerial(std::string_view text);

// Tries all ports again the next time.
void ForgetSerialPorts();

}  // namespace platform
