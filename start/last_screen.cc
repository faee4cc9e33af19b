#include "start/last_screen.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/format.h"
#include "platform/real_time_clock.h"
#include "platform/screens.h"

namespace start {
namespace {

using platform::Colour;

constexpr std::size_t kColumns = 79;  // a row that is full would begin the next one
constexpr std::size_t kRows = 25;
constexpr std::size_t kLetterRows = 7;
constexpr char16_t kFullBlock = 0x2588;

struct Letter {
  char16_t letter;
  std::array<std::uint8_t, kLetterRows> rows;  // bit 4 is the left one of 5 points
};
constexpr Letter kLetters[] = {
    {u'A', {0x0E, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}}, {u'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}},
    {u'F', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10}}, {u'I', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x1F}},
    {u'L', {0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x1F}}, {u'O', {0x0E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {u'P', {0x1E, 0x11, 0x11, 0x1E, 0x10, 0x10, 0x10}}, {u'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {u'S', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}},
};

struct Row {
  std::array<char16_t, kColumns + 1> text;
  Colour colour;
};

struct Page {
  std::array<Row, kRows> rows{};
  std::size_t count = 0;
};

Colour ColourOf(std::u16string_view verdict) {
  if (verdict == u"PASS") return Colour::kGood;
  return verdict == u"FAIL" ? Colour::kBad : Colour::kNotice;
}

// Adds what fits of a text, in as many rows as it needs and `limit` allows, the
// further ones indented. Line ends of the text come down to blanks.
void Add(Page& page, std::u16string_view text, Colour colour, std::size_t limit) {
  constexpr std::size_t kIndent = 4;
  bool is_first = true;
  do {
    Row& row = page.rows[page.count++];
    row.colour = colour;
    auto to = std::fill_n(row.text.begin(), is_first ? 0 : kIndent, u' ');
    std::size_t part = std::min(text.size(), static_cast<std::size_t>(row.text.end() - to - 1));
    if (part < text.size()) {
      const std::size_t blank = text.find_last_of(u' ', part);
      if (blank != text.npos && blank > 0) part = blank;
    }
    to = std::transform(text.begin(), text.begin() + part, to, [](char16_t c) { return c < u' ' ? u' ' : c; });
    *to = 0;
    text.remove_prefix(part);
    while (!text.empty() && text.front() <= u' ') text.remove_prefix(1);
    is_first = false;
  } while (!text.empty() && page.count < std::min(limit, kRows));
}

template <class... Args>
void AddText(Page& page, Colour colour, Format<Args...> format, const Args&... arguments) {
  std::array<char16_t, 512> text;
  FormatText(text, format, arguments...);
  Add(page, text.data(), colour, kRows);
}

const Letter* Find(char16_t letter) {
  const auto* const found = std::ranges::find(kLetters, letter, &Letter::letter);
  return found == std::end(kLetters) ? nullptr : found;
}

// Each point is three columns wide, or two where the word is a long one.
void AddLetters(Page& page, std::u16string_view word, char16_t point) {
  const std::size_t width = word.size() > 4 ? 2 : 3;
  for (std::size_t y = 0; y < kLetterRows; ++y) {
    Row& row = page.rows[page.count++];
    row.colour = ColourOf(word);
    std::size_t column = 2;
    std::fill_n(row.text.begin(), column, u' ');
    for (const char16_t c : word) {
      const Letter* const letter = Find(c);
      for (unsigned x = 0; letter != nullptr && x < 6; ++x) {
        const bool is_set = (letter->rows[y] << x & 0x10) != 0;
        std::fill_n(row.text.begin() + column, width, is_set ? point : u' ');
        column += width;
      }
    }
    row.text[column] = 0;
  }
}

void AddFailure(Page& page, const LineFailure& failure, std::size_t limit) {
  std::array<char16_t, 512> text;
  const bool has_test = *failure.Test != 0;
  FormatText(text, "%s%s%s", has_test ? failure.Test : u"", has_test ? u": " : u"", failure.Message);
  // What to do is the last row of a failure that has room for two.
  const bool has_advice = *failure.WhatToDo != 0 && page.count + 1 < limit;
  Add(page, text.data(), Colour::kNormal, limit - (has_advice ? 1 : 0));
  if (!has_advice) return;
  FormatText(text, "    > %s", failure.WhatToDo);
  Add(page, text.data(), Colour::kNotice, page.count + 1);
}

// Rows below the failures: how many more there are, the drive, the summary, and
// an empty one for the cursor.
constexpr std::size_t kClosingRows = 4;

// Each failure gets its share of the rows that are left, and two at least.
void AddFailures(Page& page, const LineReport& report) {
  const std::size_t limit = kRows - kClosingRows;
  std::size_t left = report.FailureCount;
  for (; left > 0 && page.count + 1 < limit; --left) {
    const std::size_t share = std::max<std::size_t>((limit - page.count) / left, 2);
    AddFailure(page, report.Failures[report.FailureCount - left], std::min(limit, page.count + share));
  }
  if (left > 0) AddText(page, Colour::kNormal, "... and %lu more: mfgtest.efi --summary", left);
}

Page Compose(const LastScreen& screen, char16_t point) {
  const LineReport& report = *screen.report;
  Page page;
  AddLetters(page, report.Verdict, point);
  AddText(page, Colour::kNormal, "");
  const EFI_TIME now = platform::ReadRealTimeClock();
  AddText(page, Colour::kNormal, "Unit %s   %u-%02u-%02u %02u:%02u:%02u   %lu s",
          *report.Unit == 0 ? u"without a serial number" : report.Unit, now.Year, now.Month, now.Day, now.Hour,
          now.Minute, now.Second, screen.hundredths / 100);
  for (const char16_t* const text : {report.Remark, screen.note}) {
    if (*text != 0) Add(page, text, Colour::kNotice, page.count + 1);
  }
  AddFailures(page, report);
  Add(page, screen.closing, Colour::kNormal, page.count + 1);
  return page;
}

}  // namespace

void ShowLastScreen(const LastScreen& screen) {
  const LineReport& report = *screen.report;
  platform::StartLine();
  const Page plain = Compose(screen, u'#');
  for (std::size_t i = 0; i < plain.count; ++i) {
    platform::Write(plain.rows[i].text.data());
    platform::Write(u"\n");
  }
  platform::Write(report.Summary);
  platform::Write(u"\n");
  Page page = Compose(screen, kFullBlock);
  Add(page, report.Summary, ColourOf(report.Verdict), kRows - 1);
  platform::ClearScreens();
  for (std::size_t i = 0; i < page.count; ++i) platform::PutRow(i, page.rows[i].text.data(), page.rows[i].colour);
}

}  // namespace start
