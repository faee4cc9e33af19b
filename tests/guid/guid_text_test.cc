// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "guid/guid_text.h"

#include <cstring>
#include <numeric>
#include <string>

#include "report/last_error.h"
#include "simulation/station.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::Readable;
using simulation::Station;
using simulation::Widen;

constexpr EFI_GUID kUntouched = {0xA5A5A5A5, 0xA5A5, 0xA5A5, {1, 2, 3, 4, 5, 6, 7, 8}};

std::string Parsed(const EFI_GUID& guid) {
  char text[40];
  std::snprintf(text, sizeof text, "%08x %04x %04x", guid.Data1, guid.Data2, guid.Data3);
  std::string parsed = text;
  for (const std::uint8_t byte : guid.Data4) {
    std::snprintf(text, sizeof text, " %02x", byte);
    parsed += text;
  }
  return parsed;
}

std::string Parse(const std::string& text) {
  EFI_GUID guid = kUntouched;
  if (!mfgtest::StrToGuid(Widen(text).c_str(), &guid))
    return SameGuid(guid, kUntouched) ? "refused" : "refused, written";
  return Parsed(guid);
}

TEST(StrToGuid, CutsByPositionAndForgivesBadCharacters) {
  Station station;
  station.Bind();
  const struct {
    const char* text;
    const char* parsed;
  } cases[] = {
      {"12345678-1234-1234-1234-123456789abc", "12345678 1234 1234 12 34 12 34 56 78 9a bc"},
      {"ABCDEFab-cdef-ABCD-efAB-CDEFabcdefAB", "abcdefab cdef abcd ef ab cd ef ab cd ef ab"},
      {"12345678 1234x1234012344123456789abc", "12345678 1234 1234 12 34 12 34 56 78 9a bc"},
      {"12345678-12G4-1234-zz34-123456789abc", "12345678 0012 1234 00 34 12 34 56 78 9a bc"},
      {"  345678-  3 -    - 2 4-0x3456789abc", "00345678 0003 0000 02 04 00 34 56 78 9a bc"},
      {"ffffffff-ffff-ffff-ffff-ffffffffffff", "ffffffff ffff ffff ff ff ff ff ff ff ff ff"},
      {"", "refused"},
      {"12345678-1234-1234-1234-123456789ab", "refused"},
      {"12345678-1234-1234-1234-123456789abcd", "refused"},
      {"{12345678-1234-1234-1234-123456789abc}", "refused"},
      {"12345678123412341234123456789abc", "refused"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    mfgtest::SetLastError("");
    EXPECT_EQ(Parse(c.text), c.parsed);
    EXPECT_EQ(Readable(mfgtest::LastError()), c.parsed == std::string("refused")
                                                  ? "Invalid GUID String. Must be XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX."
                                                  : "");
  }
}

TEST(GuidBytes, AreTurnedAround) {
  mfgtest::RawGuid raw;
  std::iota(raw.begin(), raw.end(), std::uint8_t{0});
  const mfgtest::RawGuid stored = raw;
  mfgtest::RawToEfiOrder(raw);
  EXPECT_EQ(raw, (mfgtest::RawGuid{3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15}));
  EXPECT_EQ(Parsed(mfgtest::AsEfiGuid(raw)), "00010203 0405 0607 08 09 0a 0b 0c 0d 0e 0f");
  mfgtest::RawToEfiOrder(raw);
  EXPECT_EQ(raw, stored);
  EXPECT_EQ(Readable(mfgtest::RawGuidText(raw).data()), "{00010203-0405-0607-0809-0a0b0c0d0e0f}");

  std::uint16_t word = 0x1234;
  std::uint32_t double_word = 0x12345678;
  std::uint64_t eui64 = 0x0011223344556677;
  mfgtest::SwapBytes16(&word);
  mfgtest::SwapBytes32(&double_word);
  mfgtest::SwapHalves64(&eui64);
  EXPECT_EQ(word, 0x3412);
  EXPECT_EQ(double_word, 0x78563412u);
  EXPECT_EQ(eui64, 0x4455667700112233u);
}

}  // namespace
