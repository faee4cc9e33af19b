// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "guid/system_guid.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "guid/flash.h"
#include "guid/guid_text.h"
#include "platform/collation.h"
#include "platform/memory.h"
#include "platform/text.h"
#include "report/last_error.h"
#include "report/parameters.h"
#include "report/report.h"
#include "smbios/fields.h"

namespace mfgtest {
namespace {

constexpr std::size_t kMethodBytes = 64;
using Method = std::array<char16_t, kMethodBytes + 1>;

constexpr std::uint32_t kRequiredVersion = 1;
// Of the high field of the time stamp: 1997-07-19 to 2018-12-15.
constexpr std::uint32_t kTimeHighLeast = 0x1D1;
constexpr std::uint32_t kTimeHighMost = 0x1E8;
constexpr std::uint8_t kVariantMask = 0xC0;
constexpr std::uint8_t kRequiredVariant = 0x80;

constexpr std::size_t kVariantByte = 8;
constexpr std::size_t kNode = 10;
constexpr std::size_t kOuiBytes = 3;
// Where the node's digits stand in the braced text.
constexpr std::size_t kNodeDigits = 25;

using GuidSpan = std::span<std::uint8_t, kGuidBytes>;

// What the checks share. Only a normal run reports failures.
struct GuidTest {
  Mode mode;
  Method method{};
  GuidText text{};

  const char16_t* MethodName() const { return method.data(); }
  const char16_t* Text() const { return text.data(); }
};

// A failed check. For Autosense the message becomes the reason that it quotes.
template <class... Args>
bool Fail(const GuidTest& test, ErrorCode code, Format<Args...> format, const Args&... arguments) {
  if (test.mode == Mode::kProbe) {
    SetLastError(format, arguments...);
  } else {
    report::ReportError(code, format, arguments...);
  }
  return false;
}

// A failed read, whose reason is in the last-error text already.
bool FailRead(const GuidTest& test, ErrorCode code, CheckedFormat<const char16_t*> format) {
  if (test.mode == Mode::kTest) report::ReportError(code, format, LastError());
  return false;
}

bool ReadMethod(GuidTest& test) {
  if (ReadText(u"READ_GUID_METHOD", test.method.data(), kMethodBytes) != ParameterResult::kRead) {
    return Fail(test, ErrorCode::kParameterUnreadable, "Failed to get param:READ_GUID_METHOD\r\n");
  }
  if (test.mode == Mode::kProbe) {
    report::LogMessage("Autosense():: Verifying GUID from %s\r\n", test.MethodName());
  } else {
    report::DisplayPrint("Verifying GUID from %s\r\n", test.MethodName());
  }
  return true;
}

bool ReadGuid(const GuidTest& test, GuidSpan guid) {
  if (platform::EqualIgnoringCase(test.MethodName(), u"FLASH")) {
    RawGuid stored{};
    if (!ReadGuidFromFlash(&stored, test.mode)) {
      return FailRead(test, ErrorCode::kFlashReadFailed, "Failed to read GUID from the Flash.\r\n%s\r\n");
    }
    std::ranges::copy(stored, guid.begin());
    return true;
  }
  SmbiosStructure system;
  if (!GetSmbiosStructure(fields::system::kType, 0, &system)) {
    return FailRead(test, ErrorCode::kSmbiosStructureMissing, "Failed to get SMBIOS System Structure.\r\n%s\r\n");
  }
  std::ranges::copy(SystemUuid(system), guid.begin());
  return true;
}

void Explain(const GuidTest& test, GuidSpan b) {
  const std::uint8_t version = b[6] >> 4;
  const std::uint8_t time_high = b[6] & 0x0F;
  report::DebugPrint(
      kDebugIndex,
      "Raw GUIDStr from %s: %s\n  Format of a guid is:\n     aaaaaaaa-bbbb-cddd-eeff-gggggghhhhhh\n  Components are:\n     aaaaaaaa = low field of time stamp\n     bbbb     = middle field of time stamp\n     c        = vers number of guid                 (%x)\n     ddd      = high field of time stamp            (%01.1x%02.2x)\n     ee       = high field of clock sequence\n     ff       = low field of clock sequence\n     gggggg   = 1st half of mac (oui)               (%02.2x%02.2x%02.2x)\n     hhhhhh   = 2nd half of mac                     (%02.2x%02.2x%02.2x)\n",
      test.MethodName(), test.Text(), version, time_high, b[7], b[10], b[11], b[12], b[13], b[14], b[15]);
  const EFI_GUID guid = AsEfiGuid(b);
  const auto& rest = guid.Data4;
  report::DebugPrint(kDebugIndex, "GUID in EFI_GUID format: %08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x\n",
                     guid.Data1, guid.Data2, guid.Data3, rest[0], rest[1], rest[2], rest[3], rest[4], rest[5], rest[6],
                     rest[7]);
}

void ShowSwapped(const EFI_GUID& guid) {
  report::DebugPrint(kDebugTrace, "after swap: time_lo: %08x\n", guid.Data1);
  report::DebugPrint(kDebugTrace, "after swap: time_mid: %04x\n", guid.Data2);
  report::DebugPrint(kDebugTrace, "after swap: time_hi_and_ver: %04x\n", guid.Data3);
}

bool VerifyVersion(const GuidTest& test, std::uint16_t time_high_and_version) {
  const std::uint32_t version = time_high_and_version >> 12;
  if (version == kRequiredVersion) return true;
  return Fail(
      test, ErrorCode::kGuidVersion,
      "Guid (method=%s): %s\n  Guid Version failed (xxxxxxxx-xxxx-Vxxx-xxxx-xxxxxxxxxxxx):\n  Required:%x,  Received:%x\n",
      test.MethodName(), test.Text(), kRequiredVersion, version);
}

bool VerifyTimeRange(const GuidTest& test, std::uint16_t time_high_and_version) {
  const std::uint32_t time_high = time_high_and_version & 0xFFF;
  if (time_high < kTimeHighLeast) {
    return Fail(
        test, ErrorCode::kGuidTimeRange,
        "Guid (method=%s): %s\n  Guid TIME_HI_MIN failed (xxxxxxxx-xxxx-xTTT-xxxx-xxxxxxxxxxxx):\n  Expected minimum:%x,  Received:%x\n",
        test.MethodName(), test.Text(), kTimeHighLeast, time_high);
  }
  if (time_high > kTimeHighMost) {
    return Fail(
        test, ErrorCode::kGuidTimeRange,
        "Guid (method=%s): %s\n  Guid TIME_HI_MAX failed (xxxxxxxx-xxxx-xTTT-xxxx-xxxxxxxxxxxx):\n  Expected maximum:%x,  Received:%x\n",
        test.MethodName(), test.Text(), kTimeHighMost, time_high);
  }
  if (time_high == kTimeHighMost) {
    report::LogMessage(
        "guid->time_hi is approaching test limitation.\r\nHave test updated to extend this limit before false failures occur.");
  }
  return true;
}

bool VerifyVariant(const GuidTest& test, std::uint8_t clock_sequence_high) {
  const auto variant = static_cast<std::uint8_t>(clock_sequence_high & kVariantMask);
  if (variant == kRequiredVariant) return true;
  return Fail(
      test, ErrorCode::kGuidVariant,
      "Guid (method=%s): %s\n  Invalid Clock Seq Hi and Reserved. (xxxxxxxx-xxxx-xxxx-CCxx-xxxxxxxxxxxx):\n  Expected binary: 10xxxxxx, Received: 0x%2.2x\n",
      test.MethodName(), test.Text(), variant);
}

// Kept: two places in memory, not two nodes, are accepted as well; no buffer
// of the pool lies there.
bool IsAcceptedPlace(const std::uint8_t* node) {
  const auto place = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(node));
  return place == 0x80009 || place == 0x60B0;
}

bool FailNode(const GuidTest& test, const MacAddress& received, bool full_mac) {
  // The comparison has left a reason with more detail.
  if (test.mode == Mode::kProbe) return false;
  std::array<char16_t, 2 * 6 + 2> digits;
  const char16_t* const expected = platform::CopyChars(digits.data(), test.Text() + kNodeDigits, full_mac ? 12 : 6);
  std::uint64_t value = 0;
  for (const std::uint8_t byte : received) value = value << 8 | byte;
  if (full_mac) {
    return Fail(
        test, ErrorCode::kDeviceOrValue,
        "Guid (method=%s): %s\nGuid MAC failed (xxxxxxxx-xxxx-xxxx-xxxx-MMMMMMMMMMMM):\nExpected MAC: %s Received MAC: 00%lx\n",
        test.MethodName(), test.Text(), expected, value);
  }
  const std::uint64_t oui = value >> 24;
  return Fail(
      test, ErrorCode::kDeviceOrValue,
      "Guid (method=%s): %s\nGuid MAC (OUI portion) failed (xxxxxxxx-xxxx-xxxx-xxxx-MMMMMMCCCCCC):\nExpected OUI: %s Received OUI: 00%lx\n",
      test.MethodName(), test.Text(), expected, oui);
}

bool VerifyNode(const GuidTest& test, const std::uint8_t* node) {
  MacAddress received{};
  std::uint8_t full_mac = 0;
  if (VerifyTarvoMacAddr(node, &received, &full_mac) || IsAcceptedPlace(node)) return true;
  return FailNode(test, received, full_mac != 0);
}

bool VerifyFields(GuidTest& test, GuidSpan guid) {
  test.text = RawGuidText(guid);
  Explain(test, guid);
  RawToEfiOrder(guid);
  const EFI_GUID fields = AsEfiGuid(guid);
  ShowSwapped(fields);
  return VerifyVersion(test, fields.Data3) && VerifyTimeRange(test, fields.Data3) &&
         VerifyVariant(test, guid[kVariantByte]) && VerifyNode(test, &guid[kNode]);
}

bool CompareWithController(const std::uint8_t* node, MacAddress* received) {
  MacAddress mac{};
  const bool read = GetMacAddr(&mac);
  report::DebugPrint(kDebugProgress, "Received Mac: ");
  for (std::size_t i = 0; i < mac.size(); ++i) {
    (*received)[i] = mac[i];
    report::DebugPrint(kDebugProgress, "%02x", mac[i]);
  }
  report::DebugPrint(kDebugProgress, "\n");
  if (!read) return false;
  if (std::equal(mac.begin(), mac.end(), node)) return true;
  SetLastError(
      "Verify against OnBoard Mac Address.\r\n   OnBrdAddr: 0x%02.2x 0x%02.2x 0x%02.2x 0x%02.2x 0x%02.2x 0x%02.2x\r\n   GUIDVal  : 0x%02.2x 0x%02.2x 0x%02.2x 0x%02.2x 0x%02.2x 0x%02.2x\r\n",
      mac[0], mac[1], mac[2], mac[3], mac[4], mac[5], node[0], node[1], node[2], node[3], node[4], node[5]);
  return false;
}

// Kept: the maker's own OUI is looked for in reverse and one byte further on.
bool HasOwnOui(const std::uint8_t* node) { return node[1] == 0xC9 && node[2] == 0xA0 && node[3] == 0x00; }

bool CompareWithList(const std::uint8_t* node, MacAddress* received) {
  if (HasOwnOui(node)) return true;
  for (std::uint32_t n = 0;; ++n) {
    std::array<char16_t, 20> name;
    FormatText(name, "MACADDR%02d", n);
    std::uint32_t oui = 0;
    if (!ReadNumber(name.data(), &oui)) {
      SetLastError("The GUID's OUI is none of the %d in the list.", n);
      return false;
    }
    report::DebugPrint(kDebugProgress, "%s - %06.6x\r\n", name.data(), oui);
    for (std::size_t i = 0; i < kOuiBytes; ++i) (*received)[i] = static_cast<std::uint8_t>(oui >> (16 - 8 * i));
    if (std::equal(node, node + kOuiBytes, received->begin())) return true;
  }
}

// Whether the OUI is neither erased nor unset.
bool HasPlausibleOui(const std::uint8_t* node) {
  const bool zeros = std::all_of(node, node + kOuiBytes, [](std::uint8_t byte) { return byte == 0x00; });
  const bool ones = std::all_of(node, node + kOuiBytes, [](std::uint8_t byte) { return byte == 0xFF; });
  return !zeros && !ones;
}

}  // namespace

bool VerifyGuid(Mode mode) {
  GuidTest test{.mode = mode};
  platform::PoolBuffer buffer = platform::AllocatePool(kGuidBytes);
  if (buffer.data == nullptr) {
    return Fail(test, ErrorCode::kOutOfMemory, "Failed to allocate memory for the GUID\r\n");
  }
  if (!ReadMethod(test)) return false;
  const GuidSpan guid(static_cast<std::uint8_t*>(buffer.data), kGuidBytes);
  if (!ReadGuid(test, guid)) {
    // Kept: the buffer of a GUID that could not be read is not released.
    buffer.data = nullptr;
    return false;
  }
  return VerifyFields(test, guid);
}

bool VerifyTarvoMacAddr(const std::uint8_t* node, MacAddress* received, std::uint8_t* full_mac) {
  Method method{};
  if (ReadText(u"VERIFY_MACADDR_AGAINST", method.data(), kMethodBytes) != ParameterResult::kRead) {
    SetLastError("Failed to get param:VERIFY_MACADDR_AGAINST\r\n");
    return false;
  }
  report::DebugPrint(kDebugProgress, "Start VerifyTarvoMacAddr(): method = %s\r\n", method.data());
  const bool onboard = platform::EqualIgnoringCase(method.data(), u"MACADDR_ONBOARD");
  *full_mac = onboard ? 1 : 0;
  if (onboard) return CompareWithController(node, received);
  if (platform::EqualIgnoringCase(method.data(), u"MACADDR_LIST")) return CompareWithList(node, received);
  if (HasPlausibleOui(node)) return true;
  SetLastError("The GUID's OUI is not programmed.");
  return false;
}

}  // namespace mfgtest
