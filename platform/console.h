// The operator's console: text out, keys in.
#pragma once

#include "platform/efi.h"

namespace platform {

enum class Colour { kNormal, kQuiet, kGood, kBad, kNotice };

// The colour as the firmware's text outputs take it.
UINTN ConsoleAttribute(Colour colour);

// Writes text in the colour and goes back to the normal one, before the line
// end when the text ends in one. "\n" becomes
// "\r\n" unless it is that already; other control characters but the tab are
// shown as "?", since text from the platform could hold a terminal's commands.
void Write(const char16_t* text, Colour colour = Colour::kNormal);

// Ends the line unless nothing stands on it.
void StartLine();

// Takes the last character on the line back.
void EraseCharacter();

inline constexpr char16_t kEscape = 0x1B;

// The character of a key, 0 for a key that has none. Gives false when none was
// pressed.
bool PollKey(char16_t* key);

// Waits for a key.
char16_t ReadKey();

}  // namespace platform
