// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/console.h"

#include <array>

#include "simulation/fault.h"
#include "simulation/injection.h"
#include "simulation/machine.h"

namespace simulation {
namespace {

constexpr std::array kOutputNames = {"ConOut Reset", "OutputString",      "TestString",
                                     "QueryMode",    "SetMode",           "ConOut SetAttribute",
                                     "ClearScreen",  "SetCursorPosition", "EnableCursor"};
constexpr std::array kInputNames = {"ConIn Reset", "ReadKeyStroke"};
static_assert(kNamesEverySlot<kOutputNames, offsetof(SIMPLE_TEXT_OUTPUT_INTERFACE, Mode)>);
static_assert(kNamesEverySlot<kInputNames, offsetof(SIMPLE_INPUT_INTERFACE, WaitForKey)>);

EFI_STATUS EFIAPI OutputString(SIMPLE_TEXT_OUTPUT_INTERFACE*, CHAR16* text) {
  if (const Failure failure = Fails("OutputString", kOfDevices)) return failure;
  Console& console = Machine::Current().console;
  console.written += AsText(text);
  if (console.on_write) console.on_write(AsText(text));
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI SetAttribute(SIMPLE_TEXT_OUTPUT_INTERFACE* output, UINTN attribute) {
  if (const Failure failure = Fails("SetAttribute", kOfDevices)) return failure;
  output->Mode->Attribute = static_cast<INT32>(attribute);
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI ReadKeyStroke(SIMPLE_INPUT_INTERFACE*, EFI_INPUT_KEY* key) {
  if (const Failure failure = Fails("ReadKeyStroke", kOfDevices)) return failure;
  auto& keys = Machine::Current().console.keys;
  if (keys.empty()) return EFI_NOT_READY;
  constexpr char16_t kEscape = 0x1B;
  const bool is_escape = keys.front() == kEscape;
  *key = {.ScanCode = static_cast<UINT16>(is_escape ? SCAN_ESC : 0), .UnicodeChar = is_escape ? u'\0' : keys.front()};
  keys.pop_front();
  return EFI_SUCCESS;
}

}  // namespace

Console::Console() {
  FillWithRefusals<kOutputNames>(&output);
  FillWithRefusals<kInputNames>(&input);
  output.OutputString = OutputString;
  output.SetAttribute = SetAttribute;
  output.Mode = &mode_;
  input.ReadKeyStroke = ReadKeyStroke;
  input.WaitForKey = &input;
}

}  // namespace simulation
