// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/format.h"
#include "platform/status_text.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "simulation/text.h"

namespace {

using simulation::Readable;

constexpr EFI_GUID kGuid = {0x158DEF5A, 0xF656, 0x419C, {0xB0, 0x27, 0x7A, 0x31, 0x92, 0xC0, 0x79, 0xD2}};

FormatArgument Number(std::uint64_t value) { return {FormatArgument::Kind::kNumber, value}; }
FormatArgument Text(const char16_t* text) {
  return {FormatArgument::Kind::kText, reinterpret_cast<std::uint64_t>(text)};
}
FormatArgument Ascii(const char* text) { return {FormatArgument::Kind::kAscii, reinterpret_cast<std::uint64_t>(text)}; }
FormatArgument Guid(const EFI_GUID* guid) {
  return {FormatArgument::Kind::kGuid, reinterpret_cast<std::uint64_t>(guid)};
}

std::string Described(const char16_t* format, const std::vector<FormatArgument>& arguments) {
  std::array<char16_t, 128> out;
  const std::size_t length = FormatArguments(out, format, arguments);
  EXPECT_EQ(out[length], 0);
  return Readable({out.data(), length});
}

std::string EFIAPI Variadic(const char16_t* format, ...) {
  std::array<char16_t, 128> out;
  __builtin_ms_va_list arguments;
  __builtin_ms_va_start(arguments, format);
  const std::size_t length = FormatVariadic(out, format, arguments);
  __builtin_ms_va_end(arguments);
  return Readable({out.data(), length});
}

struct Row {
  const char16_t* format;
  std::vector<FormatArgument> arguments;
  const char* expected;
};

TEST(Format, ConversionsGiveTheSameTextForDescribedAndVariadicArguments) {
  const Row rows[] = {
      {u"plain", {}, "plain"},
      {u"", {}, ""},
      {u"%d", {Number(0)}, "0"},
      {u"%d", {Number(0xFFFFFFFF)}, "-1"},
      {u"%d", {Number(0x80000000)}, "-2147483648"},
      {u"%d", {Number(0x100000005)}, "5"},
      {u"%u", {Number(0xFFFFFFFF)}, "4294967295"},
      {u"%ld", {Number(0x8000000000000000)}, "-9223372036854775808"},
      {u"%lu", {Number(~0ull)}, "18446744073709551615"},
      {u"%x", {Number(0xABC)}, "abc"},
      {u"%lx", {Number(0xABCDEF0123456789)}, "abcdef0123456789"},
      {u"%X", {Number(0xABC)}, "00000ABC"},
      {u"%lX", {Number(0xABC)}, "0000000000000ABC"},
      {u"%8lX", {Number(0xABC)}, "0000000000000ABC"},
      {u"%02x", {Number(5)}, "05"},
      {u"%02.2x", {Number(5)}, "05"},
      {u"%02.2x", {Number(0x123)}, "123"},
      {u"%08.8x", {Number(0x1A)}, "0000001a"},
      {u"%06.6x", {Number(0x1234567)}, "1234567"},
      {u"%5d|", {Number(42)}, "   42|"},
      {u"%5d|", {Number(0xFFFFFFFF)}, "   -1|"},
      {u"%.5d|", {Number(42)}, "   42|"},
      {u"%.-5d|", {Number(42)}, "42   |"},
      {u"%s", {Text(u"ACME")}, "ACME"},
      {u"%s", {Text(u"")}, ""},
      {u"%s", {Text(nullptr)}, "(null)"},
      {u"%s", {Text(u"\u20AC")}, "\\u20AC"},
      {u"%6s|", {Text(u"ACME")}, "  ACME|"},
      {u"%.-6s|", {Text(u"ACME")}, "ACME  |"},
      {u"%.6s|", {Text(u"ACME")}, "  ACME|"},
      {u"%.3s|", {Text(u"ACME")}, "ACM|"},
      {u"%a", {Ascii("3.26\xE9")}, "3.26\\u00E9"},
      {u"%a", {Ascii(nullptr)}, "(null)"},
      {u"%c%c", {Number(u'o'), Number(u'k')}, "ok"},
      {u"%g", {Guid(&kGuid)}, "158def5a-f656-419c-b027-7a3192c079d2"},
      {u"%.-35g|", {Guid(&kGuid)}, "158def5a-f656-419c-b027-7a3192c079d|"},
      {u"%.-38g|", {Guid(&kGuid)}, "158def5a-f656-419c-b027-7a3192c079d2  |"},
      {u"%g", {Guid(nullptr)}, "(null)"},
      {u"100%% of %s, %d", {Text(u"it"), Number(3)}, "100% of it, 3"},
      {u"%q and %", {}, "%q and "},
  };
  for (const Row& row : rows) {
    std::vector<FormatArgument> slots = row.arguments;
    slots.resize(2);
    EXPECT_EQ(Described(row.format, row.arguments), row.expected) << Readable(row.format);
    EXPECT_EQ(Variadic(row.format, slots[0].value, slots[1].value), row.expected) << Readable(row.format);
  }
}

TEST(Format, TypedArgumentsKeepTheirSign) {
  std::array<char16_t, 128> out;
  const char16_t* const text = u"t";
  FormatText(out, "%d %u %x %ld %s %a %c %g", -5, std::uint8_t{200}, std::uint16_t{0xBEEF}, std::int64_t{-6}, text, "8",
             u'c', &kGuid);
  EXPECT_EQ(Readable(out.data()), "-5 200 beef -6 t 8 c 158def5a-f656-419c-b027-7a3192c079d2");
}

TEST(Format, HostileFormatsPrintNothingForWhatIsNotThere) {
  const Row rows[] = {
      {u"%s%d%g%a%c%x|", {}, "|"},
      {u"%s|%s|", {Text(u"one")}, "one||"},
      {u"%s%g%a|", {Number(0x4141414141414141), Number(1), Number(2)}, "|"},
      {u"%d|", {Text(u"text")}, "|"},
      {u"%n%p%i", {Number(1)}, "%n%p%i"},
      {u"%", {}, ""},
      {u"%0", {}, ""},
      {u"%5.-", {}, ""},
      {u"%l", {}, ""},
  };
  for (const Row& row : rows) EXPECT_EQ(Described(row.format, row.arguments), row.expected) << Readable(row.format);
  EXPECT_EQ(Described(u"%99999999999999999999d", {Number(7)}), std::string(127, ' '));
  EXPECT_EQ(Described(u"%.-99999999999999999999s", {Text(u"7")}), "7" + std::string(126, ' '));
}

TEST(Format, TextIsCutToTheBufferAndTerminated) {
  for (std::size_t size = 0; size <= 8; ++size) {
    const auto out = std::make_unique<char16_t[]>(size);
    const FormatArgument argument = Text(u"defgh");
    const std::size_t length = FormatArguments({out.get(), size}, u"abc%s", {&argument, 1});
    ASSERT_EQ(length, size == 0 ? 0 : size - 1);
    EXPECT_EQ(Readable({out.get(), length}), std::string("abcdefgh").substr(0, length));
    EXPECT_TRUE(size == 0 || out[length] == 0);
  }
}

TEST(Format, TextWithoutTerminatorIsReadNoFurtherThanItFits) {
  const auto source = std::make_unique<char16_t[]>(8);
  std::fill_n(source.get(), 8, u'x');
  const FormatArgument argument = Text(source.get());
  std::array<char16_t, 8> out;
  EXPECT_EQ(FormatArguments(out, u"%s", {&argument, 1}), 7u);
  EXPECT_EQ(Described(u"%.5s", {argument}), "xxxxx");
}

// Images have a stand-in for the library's formatter, host programs have both.
TEST(StatusText, CodesWithoutANameLookAsTheLibraryWritesThem) {
  for (const EFI_STATUS status : {EFI_STATUS{0xFE}, EFIERR(0x7ABCDEF), ~EFI_STATUS{0}}) {
    std::array<char16_t, 64> stand_in{};
    FormatUnnamedStatus(AsFirmwareText(stand_in.data()), 0, AsFirmwareText(u"%X"), status);
    EXPECT_EQ(std::u16string(stand_in.data()), platform::StatusText(status).Text());
  }
}

}  // namespace
