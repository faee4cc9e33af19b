// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/utc.h"

#include "platform/real_time_clock.h"

namespace platform {
namespace {

constexpr int kMinutesPerDay = 24 * 60;
constexpr std::uint16_t kLastUnsetYear = 2000;

std::uint8_t DaysOf(std::uint16_t year, std::uint8_t month) {
  constexpr std::uint8_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool is_leap_year = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  return static_cast<std::uint8_t>(kDays[month - 1] + (month == 2 && is_leap_year ? 1 : 0));
}

bool IsDate(const EFI_TIME& time) {
  return time.Year > kLastUnsetYear && time.Year <= 9998 && time.Month >= 1 && time.Month <= 12 && time.Day >= 1 &&
         time.Day <= DaysOf(time.Year, time.Month) && time.Hour < 24 && time.Minute < 60 && time.Second < 60;
}

void StepToNextDay(UtcTime& time) {
  if (++time.day <= DaysOf(time.year, time.month)) return;
  time.day = 1;
  if (++time.month <= 12) return;
  time.month = 1;
  ++time.year;
}

void StepToDayBefore(UtcTime& time) {
  if (--time.day > 0) return;
  if (--time.month == 0) {
    time.month = 12;
    --time.year;
  }
  time.day = DaysOf(time.year, time.month);
}

// What has to be added to the local time, in minutes; less than a day and a bit.
int OffsetOf(const EFI_TIME& time) {
  const bool is_known = time.TimeZone >= -kMinutesPerDay && time.TimeZone <= kMinutesPerDay;
  return is_known ? time.TimeZone : 0;
}

}  // namespace

bool ReadUtcTime(UtcTime* time) {
  EFI_TIME local{};
  *time = kUnsetTime;
  if (EFI_ERROR(ReadRealTimeClock(&local)) || !IsDate(local)) return false;
  *time = {local.Year, local.Month, local.Day, 0, 0, local.Second};
  int minutes = local.Hour * 60 + local.Minute + OffsetOf(local);
  if (minutes < 0) StepToDayBefore(*time);
  if (minutes >= kMinutesPerDay) StepToNextDay(*time);
  minutes = (minutes + kMinutesPerDay) % kMinutesPerDay;
  time->hour = static_cast<std::uint8_t>(minutes / 60);
  time->minute = static_cast<std::uint8_t>(minutes % 60);
  return true;
}

}  // namespace platform
