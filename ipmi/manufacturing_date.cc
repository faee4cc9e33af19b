#include "ipmi/manufacturing_date.h"

#include <array>
#include <string_view>

#include "ipmi/fru_access.h"
#include "module/last_error.h"
#include "module/report.h"
#include "module/text.h"
#include "platform/numbers.h"

namespace mfgtest {
namespace {

constexpr UINTN kDateLength = 50;
using DateText = std::array<char16_t, kDateLength + 1>;

constexpr std::uint32_t kFirstYear = 1996;
constexpr std::uint32_t kLastYear = 9999;
constexpr std::uint32_t kMinutesPerDay = 1440;

// The byte of the common header that holds the board area's offset, in units
// of eight bytes, and the date's place in that area.
constexpr std::uint32_t kBoardAreaHeaderByte = 3;
constexpr std::uint8_t kDateInBoardArea = 3;

struct Date {
  std::uint32_t year;
  std::uint32_t month;
  std::uint32_t day;
};

// The FRU that a test reads, and how its reads report.
struct DateSource {
  FruDevice device;
  // Test 34 reads with a single attempt each.
  bool single_attempt;
  std::uint16_t header_offset;

  bool Read(std::uint16_t offset, std::uint8_t count, FruBuffer* buffer) const {
    const FruRange range{static_cast<std::uint8_t>(offset), static_cast<std::uint8_t>(offset >> 8), count};
    return single_attempt ? ReadFruData(range, device.report, buffer) : ReadFruBytes(device, range, buffer);
  }
};

FruReport ReportFor(bool probe) { return probe ? FruReport::kToLastError : FruReport::kToLibrary; }

// Leaves a message as the reason that Autosense quotes in a sentence of its own.
void LeaveReason(std::u16string_view message) {
  const std::size_t begin = message.find_first_not_of(u"\r\n");
  const std::size_t end = message.find_last_not_of(u"\r\n") + 1;
  CopyChars(last_error.data(), &message[begin], end - begin);
}

// A parameter that is missing or bad. It is reported for a probe as well.
template <class... Args>
bool FailOnParameter(ErrorCode code, Format<Args...> format, const Args&... arguments) {
  report::ReportError(code, format, arguments...);
  std::array<char16_t, kLastErrorCharacters> message;
  FormatText(message, format, arguments...);
  LeaveReason(message.data());
  return false;
}

// Splits at the first two slashes. Kept: the character behind each of them
// belongs to the next field whatever it is.
Date ParseDate(const char16_t* text) {
  DateText fields[3] = {};
  std::size_t field = 0;
  std::size_t length = 0;
  for (; *text != 0; ++text) {
    if (*text == u'/' && field < 2) {
      ++field;
      length = 0;
      if (*++text == 0) break;
    }
    if (length < kDateLength) fields[field][length++] = *text;
  }
  const auto number = [&](std::size_t i) {
    return static_cast<std::uint32_t>(platform::DecimalNumber(fields[i].data()));
  };
  return {number(0), number(1), number(2)};
}

bool IsLeapYear(std::uint32_t year) { return year % 4 == 0; }

bool ValidateDate(const Date& date) {
  const auto [year, month, day] = date;
  constexpr ErrorCode kCode = ErrorCode::kInvalidDate;
  if (year < kFirstYear || year > kLastYear) {
    return FailOnParameter(kCode, "\r\nInvalid date format. Year: 1996 < year < 9999\r\n");
  }
  if (month < 1 || month > 12) {
    return FailOnParameter(kCode, "\r\nInvalid date format. Month: 1 =< month <= 12\r\n");
  }
  if (day < 1 || day > 31) {
    const std::uint32_t last = month == 2 ? 28 : 31;
    return FailOnParameter(kCode, "\r\nInvalid date format. Day: 1 =< day <= %d\r\n", last);
  }
  const std::uint32_t february = IsLeapYear(year) ? 29 : 28;
  if (month == 2 && day > february) {
    return FailOnParameter(kCode, "\r\nInvalid date format. Day cannot > %d for Month: %d in Year: %d\r\n", february,
                           month, year);
  }
  if ((month == 4 || month == 6 || month == 9 || month == 11) && day == 31) {
    return FailOnParameter(kCode, "\r\nInvalid date format. Day cannot > 30 for Month: %d\r\n", month);
  }
  return true;
}

// The expected date as the operator gave it, in FRU minutes.
bool ExpectedMinutes(const char16_t* text, std::uint32_t* minutes) {
  const Date date = ParseDate(text);
  if (!ValidateDate(date)) return false;
  report::DebugPrint(kDebugProgress, "Year:%d Month:%d Day:%d\n", date.year, date.month, date.day);
  *minutes = DateToFruMinutes(date.year, date.month, date.day);
  report::DebugPrint(kDebugProgress, "Expected Date in Hex:0x%x\n", *minutes);
  return true;
}

enum class AreaOffset { kFailed, kAnswered, kRead };

// Reads the board area's offset twice. A probe ends here, when the FRU answers
// both times or does not answer the first time; a normal run goes on with
// whatever the buffer holds.
AreaOffset ReadAreaOffset(const DateSource& source, bool probe, FruBuffer* buffer) {
  if (!source.Read(source.header_offset, 1, buffer) && probe) return AreaOffset::kFailed;
  if (source.Read(source.header_offset, 1, buffer) && probe) return AreaOffset::kAnswered;
  return AreaOffset::kRead;
}

bool JudgeDate(std::uint32_t expected, std::uint32_t received) {
  if (received == 0) {
    report::ReportError(ErrorCode::kManufacturingDate, "\r\nMfg Date & Time is not programmed. Received: 0x%x\r\n",
                        received);
    return false;
  }
  // Kept: an equal date passes, whatever the message says.
  if (received >= expected) return true;
  report::ReportError(ErrorCode::kManufacturingDate,
                      "\r\nMfg Date & Time test failed. Expected: > 0x%x Received: 0x%x.\r\n", expected, received);
  return false;
}

bool VerifyDate(const DateSource& source, const char16_t* expected_text, bool probe) {
  std::uint32_t expected = 0;
  if (!ExpectedMinutes(expected_text, &expected)) return false;

  FruBuffer buffer;
  const AreaOffset area = ReadAreaOffset(source, probe, &buffer);
  if (area != AreaOffset::kRead) return area == AreaOffset::kAnswered;

  report::DebugPrint(kDebugIpmi, "MfgDateOffset: 0x%0x.\n", buffer.Value());
  // Kept: the offset wraps, so the date is always read below 256.
  const auto date_offset = static_cast<std::uint8_t>(buffer.Byte() * 8 + kDateInBoardArea);
  report::DebugPrint(kDebugIpmi, "MfgOffset: 0x%0x.\n", date_offset);
  source.Read(date_offset, 3, &buffer);
  const std::uint32_t received = buffer.Value();
  report::DebugPrint(kDebugIpmi, "MfgDateHex: 0x%0x. len: %x\n", received, buffer.length);
  return JudgeDate(expected, received);
}

bool RequireNumber(const char16_t* name, std::uint32_t* value) {
  if (TestLib->GetParamNumber(name, value) == kTestLibrarySuccess) return true;
  return FailOnParameter(ErrorCode::kParameterUnreadable, "\r\nFailed to get param: %s\r\n", name);
}

}  // namespace

bool VerifyMfgDate(bool probe) {
  if (!RequireIpmi(probe)) return false;
  DateText expected{};
  if (TestLib->GetParamString(u"MFG_DATE", expected.data(), kDateLength) != kTestLibrarySuccess) {
    return FailOnParameter(ErrorCode::kParameterUnreadable, "\r\nFailed to get param: MFG_DATE\r\n");
  }
  const DateSource source{
      .device = {.id = 0, .route = FruRoute::kBmc, .report = ReportFor(probe)},
      .single_attempt = true,
      .header_offset = kBoardAreaHeaderByte,
  };
  return VerifyDate(source, expected.data(), probe);
}

bool VerifySysBoardMfgDate(bool probe) {
  if (!RequireIpmi(probe)) return false;
  DateText expected{};
  if (TestLib->GetParamString(u"SYS_BD_MFG_DATE", expected.data(), kDateLength) != kTestLibrarySuccess) {
    return FailOnParameter(ErrorCode::kParameterUnreadable, "\r\nFailed to get param: SYS_BD_MFG_DATE\r\n");
  }
  std::uint32_t id = 0;
  std::uint32_t route = 0;
  if (!RequireNumber(u"SYS_BD_FRU_ID", &id) || !RequireNumber(u"HSBP", &route)) return false;
  std::uint32_t header_offset = 0;
  if (TestLib->GetParamNumber(u"BOARD_AREA_OFFSET", &header_offset) != kTestLibrarySuccess) {
    header_offset = kBoardAreaHeaderByte;
  }
  const DateSource source{
      .device = {.id = route != 0 ? std::uint8_t{0} : static_cast<std::uint8_t>(id),
                 .route = FruRouteOf(route),
                 .report = ReportFor(probe)},
      .single_attempt = false,
      .header_offset = static_cast<std::uint16_t>(header_offset),
  };
  return VerifyDate(source, expected.data(), probe);
}

std::uint32_t DateToFruMinutes(std::uint32_t year, std::uint32_t month, std::uint32_t day) {
  const std::uint32_t leap_years = (year - kFirstYear) / 4 + 1;
  // One less than none for the first year; the sum comes out right.
  const std::uint32_t other_years = year - kFirstYear - leap_years;
  std::uint32_t days = leap_years * 366 + other_years * 365;
  report::DebugPrint(kDebugProgress, "LeapYear: %d NormYear: %d numofDays: %d\n", leap_years, other_years, days);
  days += static_cast<std::uint32_t>(DaysBeforeMonth(month, IsLeapYear(year)));
  const std::uint32_t total = days + day - 1;
  report::DebugPrint(kDebugProgress, "Total Days: %d\n", total);
  const std::uint32_t minutes = total * kMinutesPerDay;
  report::DebugPrint(kDebugProgress, "Total Days in Minutes: 0x%x\n", minutes);
  return minutes;
}

std::int32_t DaysBeforeMonth(std::uint32_t month, bool is_leap_year) {
  static constexpr std::int32_t kDays[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
  if (month < 1 || month > std::size(kDays)) {
    report::ReportError(ErrorCode::kInvalidDate, "Invalid Month.\n");
    return 0;
  }
  const std::int32_t days = kDays[month - 1];
  // The leap day of the year's own count has not come yet.
  return is_leap_year && month <= 2 ? days - 1 : days;
}

}  // namespace mfgtest
