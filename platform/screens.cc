#include "platform/screens.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/handles.h"

namespace platform {
namespace {

constexpr EFI_GUID kTextOutputGuid = SIMPLE_TEXT_OUTPUT_PROTOCOL;
constexpr EFI_GUID kGraphicsOutputGuid = EFI_GRAPHICS_OUTPUT_PROTOCOL_GUID;
constexpr EFI_GUID kDevicePathGuid = DEVICE_PATH_PROTOCOL;

using TextOutput = SIMPLE_TEXT_OUTPUT_INTERFACE;

constinit std::array<TextOutput*, 8> screens{};
constinit std::size_t screen_count = 0;
constinit std::size_t status_length = 0;

// Leaves the cursor where it was. A line that the console has not ended stays
// as it is.
void PutStatus(TextOutput* screen, const char16_t* text) {
  const auto column = static_cast<UINTN>(screen->Mode->CursorColumn);
  const auto row = static_cast<UINTN>(screen->Mode->CursorRow);
  if (column != 0) return;
  const auto attribute = static_cast<UINTN>(screen->Mode->Attribute);
  screen->SetAttribute(screen, ConsoleAttribute(Colour::kQuiet));
  screen->OutputString(screen, AsFirmwareText(text));
  screen->SetCursorPosition(screen, column, row);
  screen->SetAttribute(screen, attribute);
}

}  // namespace

// A screen is a device that draws text on its graphics. What stands for all
// consoles of the firmware carries both protocols too, and is no device.
std::size_t FindScreens() {
  screen_count = 0;
  HandleList found;
  if (EFI_ERROR(LocateAllHandles(kTextOutputGuid, &found))) return 0;
  for (const EFI_HANDLE handle : found.handles) {
    TextOutput* output = nullptr;
    void* other = nullptr;
    if (screen_count == screens.size()) break;
    if (EFI_ERROR(HandleInterface(handle, kGraphicsOutputGuid, &other))) continue;
    if (EFI_ERROR(HandleInterface(handle, kDevicePathGuid, &other))) continue;
    if (EFI_ERROR(HandleInterface(handle, kTextOutputGuid, &output)) || output == ST->ConOut) continue;
    screens[screen_count++] = output;
  }
  return screen_count;
}

void ClearScreens() {
  for (std::size_t i = 0; i < screen_count; ++i) {
    screens[i]->SetAttribute(screens[i], ConsoleAttribute(Colour::kNormal));
    screens[i]->ClearScreen(screens[i]);
  }
}

void PutRow(std::size_t row, const char16_t* text, Colour colour) {
  for (std::size_t i = 0; i < screen_count; ++i) {
    TextOutput* const screen = screens[i];
    screen->SetCursorPosition(screen, 0, row);
    screen->SetAttribute(screen, ConsoleAttribute(colour));
    screen->OutputString(screen, AsFirmwareText(text));
  }
}

void ShowStatusLine(const char16_t* text) {
  HideStatusLine();
  status_length = std::u16string_view(text).size();
  for (std::size_t i = 0; i < screen_count; ++i) PutStatus(screens[i], text);
}

void HideStatusLine() {
  if (status_length == 0) return;
  std::array<char16_t, 80> blanks;
  blanks.fill(u' ');
  blanks[std::min(status_length, blanks.size() - 1)] = 0;
  status_length = 0;
  for (std::size_t i = 0; i < screen_count; ++i) PutStatus(screens[i], blanks.data());
}

}  // namespace platform
