// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/board_records.h"

#include <span>

#include "ipmi/device_names.h"
#include "ipmi/field_walk.h"
#include "report/report.h"

namespace mfgtest {
namespace {

constexpr std::uint8_t kFirstDevice = 1;
constexpr std::uint8_t kLastDevice = 16;

struct ShownField {
  FruField field;
  CheckedFormat<const char16_t*, const char16_t*> shown;
  FruText FruTexts::*text;
};

constexpr ShownField kBoardFields[] = {
    {kManufacturerField, "\n%s Manufacturer Name: %s\n", &FruTexts::manufacturer},
    {kProductNameField, "%s Product Name: %s\n", &FruTexts::product_name},
    {kSerialNumberField, "%s Serial Number: %s\n", &FruTexts::serial_number},
    {kPartNumberField, "%s Part Number: %s\n\n", &FruTexts::part_number},
};

// Kept: version and serial number are traced with the part number's lines.
constexpr ShownField kProductFields[] = {
    {kManufacturerField, "\n%s Manufacturer Name: %s\n", &FruTexts::manufacturer},
    {kProductNameField, "%s Product Name: %s\n", &FruTexts::product_name},
    {kPartNumberField, "%s Part Number: %s\n\n", &FruTexts::part_number},
    {kPartNumberField, "%s Version Number: %s\n\n", &FruTexts::version},
    {kPartNumberField, "%s Serial Number: %s\n\n", &FruTexts::serial_number},
};

void ShowFields(FieldWalk walk, FruAreaKind kind, FruTexts& texts) {
  const char16_t* const name = FruDeviceName(walk.device.id);
  const std::span<const ShownField> fields =
      kind.is_product ? std::span<const ShownField>(kProductFields) : kBoardFields;
  for (const ShownField& field : fields) {
    FruText& text = texts.*field.text;
    // A walk that goes on after failed reads has always read.
    (void)ReadFruField(walk, field.field, kAnyLength, text);
    report::DebugPrint(kDebugProgress, field.shown, name, text.data());
  }
}

void ReadDevice(std::uint8_t id, FruBuffer* buffer) {
  const FruDevice device{.id = id, .route = FruRoute::kBmc, .report = FruReport::kToLastError};
  const FruAreaKind kind = AreaKindOf(id);
  if (!ReadAreaOffset(device, kind, buffer) || buffer->completion_code != 0) return;
  const std::uint8_t area = buffer->Byte();
  report::DebugPrint(kDebugTrace, "Board Area Offset: 0x%0x.\n", area);
  if (IsUnprogrammedOrText(area)) {
    return report::DebugPrint(kDebugProgress, "Board area information is not programmed in FRU");
  }
  const std::uint8_t offset = FirstFieldOffset(area, kind);
  report::DebugPrint(kDebugTrace, "Mfg Name Type Offset: 0x%0x.\n", offset);

  FruTexts texts;
  ShowFields({device, OnReadFailure::kGoOn, buffer, offset}, kind, texts);
  PublishFruIdentity(FruDeviceName(id), texts);
}

}  // namespace

bool ReadFruBoardRecords() {
  // Without a transport every device is skipped.
  (void)IsIpmiAvailable();
  FruBuffer buffer;
  for (std::uint8_t id = kFirstDevice; id <= kLastDevice; ++id) {
    report::DisplayPrint(".");
    if (!IsBackplane(id)) ReadDevice(id, &buffer);
  }
  report::DisplayPrint("\n");
  return true;
}

}  // namespace mfgtest
