// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/parameter_table.h"

#include <algorithm>

#include "platform/format.h"
#include "testlib/asking.h"
#include "testlib/flash_guard.h"
#include "testlib/required_results.h"
#include "testlib/required_tests.h"
#include "testlib/text_part.h"

namespace testlib {
namespace {

using enum ParameterKind;

constexpr TestSet kNone{};
constexpr char16_t kDigit = u'#';

// clang-format off
constexpr ParameterRow kTable[] = {
    {u"System_Manufacturer", kText, 64, On(1), On(1), u"manufacturer in SMBIOS type 1"},
    {u"System_Product", kText, 64, On(2), On(2), u"product name in SMBIOS type 1"},
    {u"System_Part_Number", kText, 64, On(3), On(3), u"version in SMBIOS type 1"},
    {u"System_Serial_Number", kText, 64, On(4), On(4), u"serial number in SMBIOS type 1"},
    {u"Board_Manufacturer", kText, 100, On(5), On(5), u"manufacturer in SMBIOS type 2"},
    {u"Board_Product", kText, 100, On(6), On(6), u"product in SMBIOS type 2"},
    {u"Board_Part_Number", kText, 100, On(7), On(7), u"version in SMBIOS type 2"},
    {u"Board_Serial_Number", kText, 100, On(8), On(8), u"serial number in SMBIOS type 2"},
    {u"Chassis_Manufacturer", kText, 100, On(9), On(9), u"manufacturer in SMBIOS type 3"},
    {u"Chassis_Type", kNumber, 0, On(10), On(10), u"type in SMBIOS type 3, the lock bit 0x80 included"},
    {u"Chassis_Part_Number", kText, 100, On(11), On(11), u"version in SMBIOS type 3"},
    {u"Chassis_Serial_Number", kText, 100, On(12), On(12), u"serial number in SMBIOS type 3"},
    {u"Chassis_Asset", kText, 100, On(13), On(13), u"asset tag in SMBIOS type 3"},
    {u"READ_GUID_METHOD", kText, 64, On(0, 14), On(14), u"FLASH, or anything else for SMBIOS"},
    {u"VERIFY_MACADDR_AGAINST", kText, 64, On(0, 14), On(14), u"MACADDR_ONBOARD, MACADDR_LIST or anything else"},
    {u"MACADDR##", kNumber, 0, On(0, 14), kNone, u"a vendor of MACADDR_LIST, 24 bits, from 00 on"},
    {u"NIC_Index", kNumber, 0, On(0, 14, 28, 31), kNone, u"network controller, from 0 as test 27 shows them"},
    {u"NicMacAddress", kNumber, 0, On(28, 31), kNone, u"0 to 3: prefer Nic1MacAddress to Nic4MacAddress"},
    {u"SPECIFY_A_GUID", kYesNo, 64, On(28), kNone, u"YES takes GUID_TO_WRITE, else a GUID is built"},
    {u"GUID_TO_WRITE", kText, 128, On(28), kNone, u"36 characters, for SPECIFY_A_GUID = YES"},
    {u"RandomSeed", kNumber, 0, On(28, 31), kNone, u"fixed seed of the clock sequence"},
    {u"FlashAddress", kNumber, 0, On(0, 14, 28, 30), kNone, u"the 64 KiB flash block, where no interface is"},
    {u"GuidOffsetInFlash", kNumber, 0, On(28, 30), kNone, u"the GUID's offset in that block"},
    {u"GuidOffsetFlash", kNumber, 0, On(0, 14), kNone, u"the same, for reading by READ_GUID_METHOD = FLASH"},
    {kAllowTopOfFlashParameter, kYesNo, 0, On(28), kNone, u"YES lets it write the block at 0xFFFF0000, too"},
    {u"GUID_ENV_VARIABLE", kText, 128, On(29), kNone, u"the shell variable, GUID when absent"},
    {u"MARWICK_GUID_NAME", kText, 50, On(0, 31), On(31), u"MfgSystemUuid, or NO on platforms without"},
    {u"1394_GUID_NAME", kText, 50, On(0, 32, 33), On(32, 33), u"Mfg1394Uuid"},
    {u"1394_VENDOR_ID", kNumber, 0, On(0, 33), On(33), u"PCI vendor ID of the 1394 controller"},
    {u"1394_DEVICE_ID", kNumber, 0, On(0, 33), On(33), u"PCI device ID of the 1394 controller"},
    {u"MFG_DATE", kText, 50, On(0, 34), On(34), u"earliest date of FRU 0, such as 2009/06/15"},
    {u"BIOS_ID", kText, 100, On(35), On(35), u"BIOS version; letters, digits and full stops only"},
    {u"OEM_TABLE_ID", kText, 20, On(35), On(35), u"OEM Table ID of the RSDT, filtered likewise"},
    {u"Memory#_DeviceLocator", kText, 128, On(36), On(36), u"slot by slot, from 0"},
    {u"Memory#_BankLocator", kText, 128, On(36), On(36), u"slot by slot, from 0"},
    {u"Memory#_Speed", kNumber, 0, On(36), On(36), u"MHz, 0 for an empty slot"},
    {u"Memory#_Size", kNumber, 0, On(36), On(36), u"MB, 0 for an empty slot"},
    {u"Memory_Speed_Tolerance", kNumber, 0, On(36), kNone, u"MHz; speeds have to be equal without it"},
    {u"Event_Mask_##", kHexadecimal, 80, On(37), kNone, u"data of an event that may be, from 00 to 49"},
    {u"SYS_BD_FRU_ID", kNumber, 0, On(0, 38, 39), On(38, 39), u"FRU device ID, when HSBP is 0"},
    {u"HSBP", kNumber, 0, On(0, 38, 39), On(38, 39), u"0: the controller's own; 1, 2: behind 0xC0, 0xC2"},
    {u"BOARD_AREA_OFFSET", kNumber, 0, On(0, 38, 39), kNone, u"header byte that leads to the board area, 3"},
    {u"SYS_BD_MFG_DATE", kText, 50, On(0, 38), On(38), u"earliest date of the chosen FRU"},
    {u"SYS_BOARDS_MANUFACTURER_NAME", kText, 70, On(0, 39), kNone, u"required for FRU 0, 4 and 5"},
    {u"SYS_BOARDS_PRODUCT_NAME", kText, 70, On(0, 39), kNone, u"required for FRU 0, 4 and 5"},
    {u"SYS_BOARDS_SERIAL_NUMBER", kText, 70, On(0, 39), kNone, u"required for FRU 0, 4 and 5"},
    {u"SYS_BOARDS_PART_NUMBER", kText, 70, On(0, 39), On(39), u"compared only when it is env=NAME"},
    {u"OEM_BIOS_String", kText, 256, On(40), On(40), u"the last OEM string in SMBIOS type 11"},
    {u"HSBP_FRU_DelayTime", kNumber, 0, On(0), kNone, u"seconds to wait after the FRU reads, 0"},
    {u"Record", kYesNoRequired, 0, kNone, kNone, u"of a line; yes when absent, required: an error without"},
    {u"Record_Console", kYesNo, 0, kNone, kNone, u"yes: the record goes to the serial ports, too"},
    {u"Station", kAnyText, 0, kNone, kNone, u"for the record: the place of the test"},
    {u"Order", kAnyText, 0, kNone, kNone, u"for the record: what the unit is made for"},
    {u"Operator", kAnyText, 0, kNone, kNone, u"for the record: who tests"},
    {kRequiredTestsParameter, kTestList, 0, kNone, kNone, u"tests that have to apply to the machine"},
    {kRequiredResultsParameter, kAnyText, 0, kNone, kNone, u"results that a line has to publish, commas between"},
    {kMoreRequiredResultsParameter, kAnyText, 0, kNone, kNone, u"more of them"},
    {u"Line_Tests", kTestList, 0, kNone, kNone, u"tests of the line, in their order"},
    {u"Test_Timeout", kNumber, 0, kNone, kNone, u"seconds of a test beyond its waits, 60; 0 for no limit"},
    {u"Dump_On_Failure", kYesNo, 0, kNone, kNone, u"yes: start.efi runs dump.efi after a line that did not pass"},
    {u"After_Line", kAnyText, 0, kNone, kNone, u"stay, off, reboot or exit"},
    {u"Ipmi_Kcs_Options", kAnyText, 0, kNone, kNone, u"options of ipmi_kcs.efi, such as io=0xca2 spacing=4"},
    {u"Delay_Scale", kNumber, 0, kNone, kNone, u"percent of the waits, for simulated machines only"},
};
// clang-format on

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

char16_t Folded(char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c | 0x20) : c; }

// Whether a written character can stand for one of a row's name.
bool StandsFor(char16_t in_row, char16_t written) {
  return in_row == kDigit ? IsDigit(written) : Folded(in_row) == Folded(written);
}

// Levenshtein's: how many characters to put in, take out or replace. Capitals
// do not count, so that a name in other letters is near to its own.
std::size_t Distance(std::u16string_view row, std::u16string_view written) {
  std::array<std::uint8_t, kNameCharacters + 1> above{};
  for (std::size_t i = 0; i <= written.size(); ++i) above[i] = static_cast<std::uint8_t>(i);
  for (std::size_t line = 1; line <= row.size(); ++line) {
    std::uint8_t diagonal = above[0];
    above[0] = static_cast<std::uint8_t>(line);
    for (std::size_t i = 1; i <= written.size(); ++i) {
      const int replaced = diagonal + (StandsFor(row[line - 1], written[i - 1]) ? 0 : 1);
      diagonal = above[i];
      above[i] = static_cast<std::uint8_t>(std::min({replaced, above[i] + 1, above[i - 1] + 1}));
    }
  }
  return above[written.size()];
}

const ParameterRow& NearestRow(std::u16string_view name) {
  return *std::ranges::min_element(kTable, {}, [name](const ParameterRow& row) { return Distance(row.name, name); });
}

constexpr std::u16string_view kDigits = u"0123456789";

// A row's name around its number.
struct NameParts {
  std::u16string_view before;
  std::size_t digits;  // 0: the name has no number, 1: one of any size
  std::u16string_view behind;
};

NameParts Split(std::u16string_view name) {
  const std::size_t start = std::min(name.find(kDigit), name.size());
  const std::u16string_view rest = PartFrom(name, start);
  const std::size_t digits = std::min(rest.find_first_not_of(kDigit), rest.size());
  return {PartBefore(name, start), digits, PartFrom(rest, digits)};
}

// The digits at the start of a text.
std::u16string_view LeadingDigits(std::u16string_view text) {
  return PartBefore(text, text.find_first_not_of(kDigits));
}

// Whether they can stand for a row's number.
bool Fit(std::u16string_view digits, std::size_t wanted) {
  if (wanted != 1) return digits.size() == wanted;
  return digits.size() == 1 || (!digits.empty() && digits.front() != u'0');
}

using Name = std::array<char16_t, 2 * kNameCharacters>;

// A row's name with the number that was written, or with zeros.
Name Instance(std::u16string_view row, std::u16string_view written) {
  const NameParts parts = Split(row);
  const std::u16string_view digits = LeadingDigits(PartFrom(written, written.find_first_of(kDigits)));
  const std::u16string_view number = Fit(digits, parts.digits) ? digits : PartBefore(u"00", parts.digits);
  Name name{};
  auto* end = std::ranges::copy(parts.before, name.begin()).out;
  end = std::ranges::copy(number, end).out;
  std::ranges::copy(parts.behind, end);
  return name;
}

bool IsHexadecimal(std::u16string_view text) {
  if (text.starts_with(u"0x") || text.starts_with(u"0X")) text.remove_prefix(2);
  return !text.empty() && text.size() <= 16 && text.find_first_not_of(u"0123456789abcdefABCDEF") == text.npos;
}

bool CheckUnknown(std::u16string_view name, ErrorText& error) {
  if (name.starts_with(u"X_")) return true;
  const Name nearest = Instance(NearestRow(name).name, name);
  FormatText(error, "no test knows this parameter. Is it %s? (Names of the station's own begin with X_.)",
             nearest.data());
  return false;
}

bool CheckLength(const ParameterRow& row, std::u16string_view value, ErrorText& error) {
  if (row.kind != kText || value.size() <= row.Characters()) return true;
  FormatText(error, "expected at most %lu characters, found %lu", row.Characters(), value.size());
  return false;
}

bool IsOfItsKind(const ParameterRow& row, std::u16string_view value) {
  std::uint32_t number = 0;
  switch (row.kind) {
    case kNumber:
      return ParseNumber(value, &number);
    case kHexadecimal:
      return IsHexadecimal(value);
    case kYesNo:
      return SameIgnoringCase(value, u"YES") || SameIgnoringCase(value, u"NO");
    case kYesNoRequired:
      return SameIgnoringCase(value, u"yes") || SameIgnoringCase(value, u"no") || SameIgnoringCase(value, u"required");
    default:
      return true;
  }
}

}  // namespace

std::span<const ParameterRow> ParameterTable() { return kTable; }

bool IsNameOf(const ParameterRow& row, std::u16string_view name) {
  const NameParts parts = Split(row.name);
  if (!name.starts_with(parts.before)) return false;
  const std::u16string_view rest = PartFrom(name, parts.before.size());
  const std::u16string_view digits = parts.digits == 0 ? u"" : LeadingDigits(rest);
  return Fit(digits, parts.digits) && PartFrom(rest, digits.size()) == parts.behind;
}

const ParameterRow* FindParameterRow(std::u16string_view name) {
  const auto* const found =
      std::ranges::find_if(kTable, [name](const ParameterRow& row) { return IsNameOf(row, name); });
  return found == std::ranges::end(kTable) ? nullptr : found;
}

bool IsAsked(std::u16string_view value) { return value == u"ask" || value.starts_with(u"ask:"); }

bool SameIgnoringCase(std::u16string_view a, std::u16string_view b) {
  return std::ranges::equal(a, b, {}, Folded, Folded);
}

bool CheckParameter(std::u16string_view name, std::u16string_view value, ErrorText& error) {
  const ParameterRow* const row = FindParameterRow(name);
  if (row == nullptr) return CheckUnknown(name, error);
  if (IsAsked(value) && row->IsLibrarys()) {
    FormatText(error, "this is of the order, and cannot be asked for");
    return false;
  }
  if (Question question; IsAsked(value)) return ReadQuestion(value, &question, error);
  bool found = false;
  if (row->kind == kTestList) return FindInTestList(value, 0, &found, error);
  if (!CheckLength(*row, value, error)) return false;
  if (IsOfItsKind(*row, value)) return true;
  const auto kind = KindText(*row);
  FormatText(error, "expected %s", kind.data());
  return false;
}

std::array<char16_t, 64> KindText(const ParameterRow& row) {
  std::array<char16_t, 64> text;
  switch (row.kind) {
    case kText:
      FormatText(text, "text of at most %lu characters", row.Characters());
      break;
    case kAnyText:
      FormatText(text, "text");
      break;
    case kNumber:
      FormatText(text, "a number of 32 bits");
      break;
    case kHexadecimal:
      FormatText(text, "at most 16 hexadecimal digits");
      break;
    case kTestList:
      FormatText(text, "test numbers and ranges");
      break;
    case kYesNo:
      FormatText(text, "YES or NO");
      break;
    case kYesNoRequired:
      FormatText(text, "yes, no or required");
      break;
  }
  return text;
}

}  // namespace testlib
