// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/backplane_records.h"

#include "ipmi/device_names.h"
#include "ipmi/field_walk.h"
#include "report/last_error.h"
#include "report/report.h"

namespace mfgtest {
namespace {

struct BoardField {
  FruField field;
  LengthRule rule;  // what the factory programs
  CheckedFormat<const char16_t*, const char16_t*> shown;
  FruText FruTexts::*text;
};

constexpr BoardField kBoardFields[] = {
    {kManufacturerField, {17, 17}, "\n%s Manufacturer Name: %s\n", &FruTexts::manufacturer},
    {kProductNameField, {10, 14}, "%s Product Name: %s\n", &FruTexts::product_name},
    {kSerialNumberField, {12, 12}, "%s Serial Number: %s\n", &FruTexts::serial_number},
    {kPartNumberField, {10, 10}, "%s Part Number: %s\n", &FruTexts::part_number},
};

// Whether the backplane answers at all.
bool Ping(const FruDevice& device, FruBuffer* buffer) {
  for (std::uint32_t attempt = 0; attempt < kFruTries; ++attempt) {
    report::DebugPrint(kDebugProgress, " retry %d to ping FRUID %02x \n", attempt, device.id);
    if (ReadAreaOffset(device, AreaKindOf(device.id), buffer)) return true;
  }
  return false;
}

TryResult ReadFields(FieldWalk walk, bool last, FruTexts& texts) {
  const char16_t* const name = FruDeviceName(walk.device.id);
  for (const BoardField& field : kBoardFields) {
    FruText& text = texts.*field.text;
    const FieldResult result = ReadFruField(walk, field.field, field.rule, text);
    if (result != FieldResult::kRead) return FailField(result, walk.buffer->completion_code, last, Mode::kTest);
    report::DebugPrint(kDebugProgress, field.shown, name, text.data());
  }
  return TryResult::kComplete;
}

TryResult ReadOnce(const FruDevice& device, std::uint32_t attempt, FruBuffer* buffer, FruTexts& texts) {
  const FruAreaKind kind = AreaKindOf(device.id);
  const bool last = IsLastTry(attempt);
  report::DebugPrint(kDebugProgress, " retry %d to read FRUID %02x \n", attempt, device.id);
  if (!ReadAreaOffset(device, kind, buffer)) return last ? TryResult::kFailed : TryResult::kNextTry;
  report::DebugPrint(kDebugTrace, "Board Area Offset: 0x%0x.\n", buffer->Byte());
  if (IsUnprogrammed(buffer->Byte())) {
    SetLastError("Board area information is not programmed in FRU");
    return TryResult::kFailed;
  }
  const std::uint8_t offset = FirstFieldOffset(buffer->Byte(), kind);
  report::DebugPrint(kDebugTrace, "Mfg Name Type Offset: 0x%0x.\n", offset);
  return ReadFields({device, OnReadFailure::kStop, buffer, offset}, last, texts);
}

// Returns false when the test ends here.
bool ReadBackplane(std::uint8_t id, FruBuffer* buffer) {
  const FruDevice device{.id = id, .route = FruRoute::kBmc, .report = FruReport::kToLastError};
  report::DisplayPrint(".");
  report::DebugPrint(kDebugProgress, " FRUID %02x \n", id);
  if (!Ping(device, buffer)) return false;
  report::DebugPrint(kDebugTrace, "Board Area Offset: 0x%0x.\n", buffer->Byte());
  if (IsUnprogrammedOrText(buffer->Byte())) {
    report::DebugPrint(kDebugProgress, "Board area information is not programmed in FRU\n");
    return true;
  }

  FruTexts texts;
  const TryResult result =
      TryThreeTimes([&](std::uint32_t attempt) { return ReadOnce(device, attempt, buffer, texts); });
  if (result == TryResult::kFailed) return false;
  PublishFruIdentity(FruDeviceName(id), texts);
  return true;
}

}  // namespace

bool ReadBackplaneFruRecords() {
  // Without a transport the first ping fails and says so.
  (void)IsIpmiAvailable();
  FruBuffer buffer;
  for (std::uint8_t id = kFirstBackplane; id <= kLastBackplane; ++id) {
    if (!ReadBackplane(id, &buffer)) return false;
  }
  return true;
}

}  // namespace mfgtest
