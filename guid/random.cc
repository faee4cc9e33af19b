#include "guid/random.h"

#include "module/report.h"
#include "platform/real_time_clock.h"

namespace mfgtest {
namespace {

constinit std::uint32_t seed = 0;

// One step of the linear congruential rule; the upper half of the seed is what
// it is good for.
std::uint32_t NextHalf() {
  seed = seed * 214013 + 2531011;
  return seed >> 16;
}

}  // namespace

EFI_STATUS RandomSeed() {
  std::uint32_t value = 0;
  if (TestLib->GetParamNumber(u"RandomSeed", &value) == kTestLibrarySuccess) {
    SetSeed(value);
    return EFI_SUCCESS;
  }
  EFI_TIME time{};
  if (const EFI_STATUS status = platform::ReadRealTimeClock(&time); EFI_ERROR(status)) return status;
  // Kept: the month is counted where a day of the year would stand.
  value = (std::uint32_t{time.Year} - 1970) * 365 + time.Month;
  value = ((value * 31 + time.Day) * 24 + time.Hour) * 60 + time.Minute;
  SetSeed(value * 60 + time.Second);
  return EFI_SUCCESS;
}

void SetSeed(std::uint32_t value) { seed = value; }

std::uint32_t Random32() {
  const std::uint32_t low = NextHalf();
  return NextHalf() << 16 | low;
}

}  // namespace mfgtest
