#include "guid/builder.h"

#include <algorithm>

#include "guid/random.h"
#include "module/last_error.h"
#include "module/report.h"
#include "net/mac_access.h"
#include "platform/real_time_clock.h"

namespace mfgtest {
namespace {

// 100-ns units between the epoch of RFC 4122 and that of the clock's count.
constexpr std::uint32_t kEpochLow = 0x13814000;
constexpr std::uint32_t kEpochHigh = 0x01B21DD2;
constexpr std::uint64_t kUnitsPerSecond = 10'000'000;

constexpr std::uint32_t kVersion1 = 0x1000;
constexpr std::uint32_t kClockSequenceMask = 0x3FFF;
constexpr std::uint32_t kVariant = 0x8000;
constexpr std::size_t kNode = 10;

// Without the clock two servers could get the same GUID.
bool FailOnClock(EFI_STATUS status) {
  SetLastError("\nFailed to read the clock. Status=0x%x", static_cast<std::uint32_t>(status));
  return false;
}

// The clock in 100-ns units since 1970. Kept: every month has 31 days.
bool ReadTimestamp(std::uint64_t* timestamp) {
  EFI_TIME time{};
  if (const EFI_STATUS status = platform::ReadRealTimeClock(&time); EFI_ERROR(status)) return FailOnClock(status);
  std::uint64_t seconds = (std::uint64_t{time.Year} - 1970) * 12 + time.Month - 1;
  seconds = ((seconds * 31 + time.Day) * 24 + time.Hour) * 60 + time.Minute;
  seconds = seconds * 60 + time.Second;
  *timestamp = seconds * kUnitsPerSecond;
  report::DebugPrint(kDebugProgress, "GetTime() = Year:%d  Month:%d  Day:%d  Hour:%d  Minute:%d  Sec:%d\r\n", time.Year,
                     time.Month, time.Day, time.Hour, time.Minute, time.Second);
  report::DebugPrint(kDebugProgress, "time (t) in 100ns = 0x%lX\r\n", *timestamp);
  return true;
}

// Kept: the epoch is added in halves, and the carry between them is dropped.
void SetTimeFields(EFI_GUID* guid, std::uint64_t timestamp) {
  guid->Data1 = static_cast<std::uint32_t>(timestamp) + kEpochLow;
  const std::uint32_t upper = static_cast<std::uint32_t>(timestamp >> 32) + kEpochHigh;
  guid->Data2 = static_cast<std::uint16_t>(upper);
  guid->Data3 = static_cast<std::uint16_t>((upper >> 16 & 0xFFF) + kVersion1);
  report::DebugPrint(kDebugProgress, "guid->Data1=%08.8x, Data2=%04.4x, Data3=%04.4x\r\n", guid->Data1, guid->Data2,
                     guid->Data3);
}

bool SetClockSequence(EFI_GUID* guid) {
  if (const EFI_STATUS status = RandomSeed(); EFI_ERROR(status)) return FailOnClock(status);
  const std::uint32_t sequence = (Random32() & kClockSequenceMask) | kVariant;
  guid->Data4[0] = static_cast<std::uint8_t>(sequence >> 8);
  guid->Data4[1] = static_cast<std::uint8_t>(sequence);
  report::DebugPrint(kDebugProgress, "clk_seq_hi_and_res_and_lo = 0x%04.4x\r\n", sequence);
  return true;
}

bool FindNode(MacAddress* mac) {
  if (ReadNicMacVariable(mac)) return true;
  report::DebugPrint(kDebugProgress, "BuildGuid()::Failed to GetMacAddr()\r\n");
  if (GetMacAddr(mac)) return true;
  report::DebugPrint(kDebugProgress, "BuildGuid()::Failed to GetMacAddr()\r\n");
  return false;
}

}  // namespace

bool BuildGuid(RawGuid* raw) {
  std::uint64_t timestamp = 0;
  if (!ReadTimestamp(&timestamp)) return false;
  EFI_GUID guid{};
  SetTimeFields(&guid, timestamp);
  if (!SetClockSequence(&guid)) return false;
  MacAddress mac{};
  if (!FindNode(&mac)) return false;
  static_assert(sizeof guid == sizeof *raw);
  __builtin_memcpy(raw->data(), &guid, sizeof guid);
  std::ranges::copy(mac, raw->begin() + kNode);
  RawToEfiOrder(*raw);
  const EFI_GUID swapped = AsEfiGuid(*raw);
  report::DebugPrint(kDebugProgress, "After swap: guid->Data1=%08.8x, Data2=%04.4x, Data3=%04.4x\r\n", swapped.Data1,
                     swapped.Data2, swapped.Data3);
  report::DebugPrint(kDebugProgress, "Mac 6 bytes: %02.2x %02.2x %02.2x %02.2x %02.2x %02.2x\r\n", mac[0], mac[1],
                     mac[2], mac[3], mac[4], mac[5]);
  return true;
}

}  // namespace mfgtest
