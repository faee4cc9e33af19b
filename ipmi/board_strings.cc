#include "ipmi/board_strings.h"

#include <span>

#include "ipmi/device_names.h"
#include "ipmi/field_walk.h"
#include "module/environment.h"
#include "module/last_error.h"
#include "module/parameters.h"
#include "module/report.h"
#include "module/text.h"

namespace mfgtest {
namespace {

constexpr std::uint32_t kTries = 3;
// What the library is told of the buffer of an expected string.
constexpr UINTN kExpectedLength = 70;

// How a field is shown once it is read.
enum class Showing {
  kShown,           // to the operator
  kTracedAndShown,  // as a debug message first, then to the operator
  kTracedOnly,
};

struct StringField {
  FruField field;
  Showing showing;
  // Kept: some lines take the device's name from the standard table, whatever
  // the platform.
  bool standard_name;
  CheckedFormat<const char16_t*, const char16_t*> line;
  // The line of a probe on a platform of the second name table.
  CheckedFormat<const char16_t*, const char16_t*> second_table_probe_line;
  FruText FruTexts::*text;
};

constexpr StringField kBoardFields[] = {
    {kManufacturerField, Showing::kShown, false, "%s Manufacturer Name: %s\n", "%s Manufacturer Name: %s\n",
     &FruTexts::manufacturer},
    {kProductNameField, Showing::kShown, false, "%s Product Name: %s\n", "%s Product Name: %s\n",
     &FruTexts::product_name},
    {kSerialNumberField, Showing::kTracedAndShown, false, "%s Serial Number: %s\n", "%s Serial Number: %s\n",
     &FruTexts::serial_number},
    {kPartNumberField, Showing::kShown, false, "%s Part Number: %s\n", "%s Part Number: %s\n\n",
     &FruTexts::part_number},
};

// Kept: version and serial number are traced with the part number's lines.
constexpr StringField kProductFields[] = {
    {kManufacturerField, Showing::kShown, false, "%s Manufacturer Name: %s\n", "%s Manufacturer Name: %s\n",
     &FruTexts::manufacturer},
    {kProductNameField, Showing::kShown, false, "%s Product Name: %s\n", "%s Product Name: %s\n",
     &FruTexts::product_name},
    {kPartNumberField, Showing::kShown, false, "%s Part Number: %s\n", "%s Part Number: %s\n\n",
     &FruTexts::part_number},
    {kPartNumberField, Showing::kTracedOnly, true, "%s Version Number: %s\n\n", "%s Version Number: %s\n\n",
     &FruTexts::version},
    {kPartNumberField, Showing::kShown, true, "%s Serial Number: %s\n\n", "%s Serial Number: %s\n\n",
     &FruTexts::serial_number},
};

// Everything of one run of the test.
struct BoardTest {
  bool probe;
  FruNames names = FruNames::kStandard;
  FruDevice device{};
  FruBuffer buffer{};
  FruTexts texts{};

  FruReport Report() const { return probe ? FruReport::kToLastError : FruReport::kToLibrary; }
};

bool RequireNumber(bool probe, const char16_t* name, std::uint32_t* value) {
  if (TestLib->GetParamNumber(name, value) == kTestLibrarySuccess) return true;
  if (probe) {
    SetLastError("Failed to get param: %s", name);
  } else {
    report::ReportError(ErrorCode::kParameterUnreadable, "Failed to get param: %s\r\n", name);
  }
  return false;
}

bool ChooseDevice(BoardTest& test) {
  std::uint32_t id = 0;
  std::uint32_t route = 0;
  if (!RequireNumber(test.probe, u"SYS_BD_FRU_ID", &id)) return false;
  if (!RequireNumber(test.probe, u"HSBP", &route)) return false;
  // Read as the line gives it, but the device's kind decides.
  std::uint32_t board_area_offset = 0;
  TestLib->GetParamNumber(u"BOARD_AREA_OFFSET", &board_area_offset);
  test.device = {.id = route == 0 ? static_cast<std::uint8_t>(id) : std::uint8_t{0},
                 .route = FruRouteOf(route),
                 .report = test.Report()};
  return true;
}

void ShowField(const BoardTest& test, const StringField& field) {
  const FruNames names = field.standard_name ? FruNames::kStandard : test.names;
  const char16_t* const name = FruDeviceName(test.device.id, names);
  const char16_t* const text = (test.texts.*field.text).data();
  if (field.showing != Showing::kShown) report::DebugPrint(kDebugProgress, field.line, name, text);
  if (field.showing == Showing::kTracedOnly) return;
  if (!test.probe) return report::DisplayPrint(field.line, name, text);
  report::LogMessage(test.names == FruNames::kSecondTable ? field.second_table_probe_line : field.line, name, text);
}

enum class TryResult { kComplete, kNextTry, kFailed };

TryResult FailField(const BoardTest& test, FieldResult result, bool last) {
  if (!last) return TryResult::kNextTry;
  const std::uint8_t code = test.buffer.completion_code;
  if (result == FieldResult::kCompletionCode) {
    if (test.probe) {
      SetLastError("Completion code error %02x", code);
    } else {
      report::ReportError(ErrorCode::kFruReadFailed, "Completion code error %02x.\n", code);
    }
  } else if (!test.probe) {
    // The read itself has left a probe's reason.
    report::ReportError(ErrorCode::kFruReadFailed, "IPMI read FRU error.\n");
  }
  return TryResult::kFailed;
}

TryResult FailOnUnprogrammedArea(const BoardTest& test) {
  if (test.probe) {
    SetLastError("Board area information is not programmed in FRU");
  } else {
    report::ReportError(ErrorCode::kBoardAreaNotProgrammed, "Board area information is not programmed in FRU.\n");
  }
  return TryResult::kFailed;
}

TryResult ReadOnce(BoardTest& test, std::uint32_t attempt) {
  const bool last = attempt == kTries - 1;
  const FruAreaKind kind = AreaKindOf(test.device.id);
  report::DebugPrint(kDebugProgress, " retry %d \n", attempt);
  // Kept: a normal run goes on after a failed read of the area's offset.
  if (!ReadAreaOffset(test.device, kind, &test.buffer) && test.probe) {
    return last ? TryResult::kFailed : TryResult::kNextTry;
  }
  const std::uint8_t area = test.buffer.Byte();
  report::DebugPrint(kDebugTrace, "Board Area Offset: 0x%0x.\n", area);
  if (IsUnprogrammed(area)) return FailOnUnprogrammedArea(test);
  const std::uint8_t offset = FirstFieldOffset(area, kind);
  report::DebugPrint(kDebugTrace, "Mfg Name Type Offset: 0x%0x.\n", offset);

  FieldWalk walk{test.device, OnReadFailure::kStop, &test.buffer, offset};
  const std::span<const StringField> fields =
      kind.is_product ? std::span<const StringField>(kProductFields) : kBoardFields;
  for (const StringField& field : fields) {
    const FieldResult result = ReadFruField(walk, field.field, kAnyLength, test.texts.*field.text);
    if (result != FieldResult::kRead) return FailField(test, result, last);
    ShowField(test, field);
  }
  return TryResult::kComplete;
}

bool ReadStrings(BoardTest& test) {
  TryResult result = TryResult::kNextTry;
  for (std::uint32_t attempt = 0; attempt < kTries && result == TryResult::kNextTry; ++attempt) {
    result = ReadOnce(test, attempt);
  }
  return result == TryResult::kComplete;
}

void PublishStrings(const FruTexts& texts) {
  TestLib->SetResultString(u"SYS_BOARDS_MANUFACTURER_NAME", texts.manufacturer.data());
  TestLib->SetResultString(u"SYS_BOARDS_PRODUCT_NAME", texts.product_name.data());
  TestLib->SetResultString(u"SYS_BOARDS_SERIAL_NUMBER", texts.serial_number.data());
  TestLib->SetResultString(u"SYS_BOARDS_PART_NUMBER", texts.part_number.data());
}

// What one of the four expected strings is compared by.
enum class Comparison {
  kPlainOnly,     // the parameter's text itself
  kPlainOrNamed,  // or, when it differs, the variable that it names
  kNamedOnly,     // a plain text is not compared at all
};

struct ExpectedString {
  const char16_t* parameter;
  FruText FruTexts::*text;
  Comparison comparison;
  CheckedFormat<const char16_t*, const char16_t*> trace;
  // Whether every device needs the parameter, or the boards of kBoardsOfLine only.
  bool always_required;
};

constexpr ExpectedString kExpectedStrings[] = {
    {u"SYS_BOARDS_MANUFACTURER_NAME", &FruTexts::manufacturer, Comparison::kPlainOnly, "%s%s", false},
    {u"SYS_BOARDS_PRODUCT_NAME", &FruTexts::product_name, Comparison::kPlainOrNamed, "ExpProductName=%s  tmp=%s\n",
     false},
    {u"SYS_BOARDS_SERIAL_NUMBER", &FruTexts::serial_number, Comparison::kPlainOrNamed, "ExpSerialNumber=%s  tmp=%s\n",
     false},
    // Kept: a plain expected part number is not compared.
    {u"SYS_BOARDS_PART_NUMBER", &FruTexts::part_number, Comparison::kNamedOnly, "ExpPartNumber=%s  tmp=%s\n", true},
};

constexpr bool IsBoardOfLine(std::uint8_t id) { return id == 0 || id == 4 || id == 5; }

bool Mismatch(const ExpectedString& row, const char16_t* expected, const char16_t* received) {
  report::ReportError(ErrorCode::kStringMismatch, "\n%s mismatched. \nExp: \"%s\"\nRec: \"%s\"\n", row.parameter,
                      expected, received);
  return false;
}

bool CompareWithVariable(const ExpectedString& row, const char16_t* name, const char16_t* received) {
  EnvironmentValue value{};
  if (!FindEnvVariable(name, value)) {
    report::ReportError(ErrorCode::kEnvironmentVariableMissing, "\nEnviroment Variable %s not found.\n", name);
    return false;
  }
  const char16_t* const expected = value.data();
  report::DebugPrint(kDebugProgress, "\n%s=%s", name, expected);
  return SameText(expected, received) || Mismatch(row, expected, received);
}

bool CompareString(const ExpectedString& row, const char16_t* expected, const char16_t* received) {
  if (row.comparison != Comparison::kNamedOnly && SameText(expected, received)) return true;
  if (row.comparison == Comparison::kPlainOnly) return Mismatch(row, expected, received);
  const ReferencePrefix prefix(expected);
  const char16_t* const first_characters = prefix.text.data();
  report::DebugPrint(kDebugTrace, row.trace, expected, first_characters);
  if (prefix.NamesVariable()) return CompareWithVariable(row, expected + kReferencePrefixCharacters, received);
  return row.comparison == Comparison::kNamedOnly || Mismatch(row, expected, received);
}

bool VerifyExpected(const ExpectedString& row, BoardTest& test) {
  FruText& text = test.texts.*row.text;
  TrimTrailingSpaces(text.data());
  FruText expected{};
  const TestLibraryStatus status = TestLib->GetParamString(row.parameter, expected.data(), kExpectedLength);
  if (status == kTestLibrarySuccess) return CompareString(row, expected.data(), text.data());
  // A text that is too long is there all the same.
  const bool is_absent = status != kTestLibraryBufferTooSmall;
  if (is_absent && !row.always_required && !IsBoardOfLine(test.device.id)) return true;
  report::ReportError(ErrorCode::kParameterUnreadable, "\nFailed to get param:%s\n", row.parameter);
  return false;
}

}  // namespace

bool VerifyFruBoardStrings(bool probe) {
  BoardTest test{.probe = probe};
  if (GetBmcOemCode() == kSecondTableOemCode) test.names = FruNames::kSecondTable;
  if (!RequireIpmi(probe) || !ChooseDevice(test) || !ReadStrings(test)) return false;
  if (probe) {
    PublishStrings(test.texts);
    return true;
  }
  for (const ExpectedString& row : kExpectedStrings) {
    if (!VerifyExpected(row, test)) return false;
  }
  return true;
}

}  // namespace mfgtest
