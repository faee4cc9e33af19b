#include "platform/console.h"

#include <array>

#include "platform/efi.h"
#include "platform/screens.h"

namespace platform {
namespace {

// What stands last on the console; a shell starts a program on a fresh line.
constinit char16_t last_written = u'\n';

bool IsShown(char16_t c) { return c >= u' ' ? c < 0x7F || c > 0x9F : c == u'\n' || c == u'\r' || c == u'\t'; }

// Characters on their way to the console, handed over in portions.
struct Portion {
  std::array<char16_t, 128> text;
  std::size_t length = 0;

  void Flush() {
    text[length] = 0;
    if (length > 0) ST->ConOut->OutputString(ST->ConOut, AsFirmwareText(text.data()));
    length = 0;
  }

  void Put(char16_t c) {
    if (length + 1 == text.size()) Flush();
    text[length++] = c;
    last_written = c;
  }
};

}  // namespace

UINTN ConsoleAttribute(Colour colour) {
  switch (colour) {
    case Colour::kQuiet:
      return EFI_TEXT_ATTR(EFI_CYAN, EFI_BLACK);
    case Colour::kGood:
      return EFI_TEXT_ATTR(EFI_LIGHTGREEN, EFI_BLACK);
    case Colour::kBad:
      return EFI_TEXT_ATTR(EFI_LIGHTRED, EFI_BLACK);
    case Colour::kNotice:
      return EFI_TEXT_ATTR(EFI_YELLOW, EFI_BLACK);
    default:
      return EFI_TEXT_ATTR(EFI_LIGHTGRAY, EFI_BLACK);
  }
}

void Write(const char16_t* text, Colour colour) {
  HideStatusLine();
  if (colour != Colour::kNormal) ST->ConOut->SetAttribute(ST->ConOut, ConsoleAttribute(colour));
  Portion portion;
  bool is_coloured = colour != Colour::kNormal;
  for (; *text != 0; ++text) {
    // A terminal hears of the change at once; behind the line's end that would
    // be before the first word of the next line.
    if (is_coloured && *text == u'\n' && text[1] == 0) {
      portion.Flush();
      ST->ConOut->SetAttribute(ST->ConOut, ConsoleAttribute(Colour::kNormal));
      is_coloured = false;
    }
    if (*text == u'\n' && last_written != u'\r') portion.Put(u'\r');
    portion.Put(IsShown(*text) ? *text : u'?');
  }
  portion.Flush();
  if (is_coloured) ST->ConOut->SetAttribute(ST->ConOut, ConsoleAttribute(Colour::kNormal));
}

void StartLine() {
  if (last_written != u'\n') Write(u"\n");
}

void EraseCharacter() { ST->ConOut->OutputString(ST->ConOut, AsFirmwareText(u"\b \b")); }

bool PollKey(char16_t* key) {
  EFI_INPUT_KEY stroke{};
  if (EFI_ERROR(ST->ConIn->ReadKeyStroke(ST->ConIn, &stroke))) return false;
  *key = stroke.ScanCode == SCAN_ESC ? kEscape : stroke.UnicodeChar;
  return true;
}

char16_t ReadKey() {
  char16_t key = 0;
  while (!PollKey(&key)) {
    UINTN index = 0;
    BS->WaitForEvent(1, &ST->ConIn->WaitForKey, &index);
  }
  return key;
}

}  // namespace platform
