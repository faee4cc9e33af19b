// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "mfgline/text.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <iostream>
#include <stdexcept>

namespace mfgline {
namespace {

namespace chrono = std::chrono;

constexpr char32_t kReplacement = 0xFFFD;

// Takes one character off the front of a text; broken bytes one by one.
char32_t TakeCharacter(std::string_view& text) {
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t size = first < 0x80   ? 1
                           : first < 0xC2 ? 0
                           : first < 0xE0 ? 2
                           : first < 0xF0 ? 3
                           : first < 0xF5 ? 4
                                          : 0;
  char32_t character = size <= 1 ? first : first & (0xFFu >> (size + 1));
  bool whole = size != 0 && size <= text.size();
  for (std::size_t i = 1; whole && i < size; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    whole = (next & 0xC0u) == 0x80;
    character = character << 6 | (next & 0x3Fu);
  }
  constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  whole = whole && character >= kLeast[size] && character <= 0x10FFFF && (character < 0xD800 || character > 0xDFFF);
  text.remove_prefix(whole ? size : 1);
  return whole ? character : kReplacement;
}

void Append(std::string& to, char32_t character) {
  if (character < 0x80) {
    to += static_cast<char>(character);
    return;
  }
  const int more = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
  to += static_cast<char>((0xFF00u >> (more + 1) & 0xFFu) | character >> (6 * more));
  for (int i = more - 1; i >= 0; --i) to += static_cast<char>(0x80u | (character >> (6 * i) & 0x3Fu));
}

bool Between(char32_t character, char32_t first, char32_t last) { return character >= first && character <= last; }

char32_t Visible(char32_t c) {
  if (c < 0x20) return 0x2400 + c;
  if (c == 0x7F) return 0x2421;
  const bool hidden = Between(c, 0x80, 0x9F) || c == 0xAD || c == 0x61C || Between(c, 0x200B, 0x200F) ||
                      Between(c, 0x2028, 0x202E) || Between(c, 0x2060, 0x206F) || c == 0xFEFF || (c & 0xFFFE) == 0xFFFE;
  return hidden ? kReplacement : c;
}

// A terminal's width; nothing when the output goes into a file.
std::optional<std::size_t> TerminalWidth() {
  winsize size{};
  if (isatty(STDOUT_FILENO) == 0 || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return {};
  return size.ws_col;
}

std::size_t WidthOf(char32_t character) {
  const int width = wcwidth(static_cast<wchar_t>(character));
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

std::string Cut(std::string_view text, std::size_t columns) {
  if (Width(text) <= columns) return std::string(text);
  std::string kept;
  for (std::size_t used = 1;;) {
    const char32_t character = TakeCharacter(text);
    used += WidthOf(character);
    if (used > columns) return kept + "…";
    Append(kept, character);
  }
}

const char* ColourOf(std::string_view cell) {
  static const bool coloured = isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr;
  if (!coloured) return nullptr;
  if (cell == "PASS") return "\033[32m";
  if (cell == "FAIL") return "\033[31m";
  return cell == "ERROR" || cell == "WAIVED" || cell == "PARTIAL" ? "\033[33m" : nullptr;
}

std::optional<int> Digits(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc() || end != text.data() + text.size() || number < 0) return {};
  return number;
}

std::optional<chrono::sys_days> ParseDay(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return {};
  const auto year = Digits(text.substr(0, 4));
  const auto month = Digits(text.substr(5, 2));
  const auto day = Digits(text.substr(8, 2));
  if (!year || !month || !day) return {};
  const chrono::year_month_day date{chrono::year(*year), chrono::month(static_cast<unsigned>(*month)),
                                    chrono::day(static_cast<unsigned>(*day))};
  return date.ok() ? std::optional(chrono::sys_days(date)) : std::nullopt;
}

// A moment, or the start of a whole day.
chrono::sys_seconds ParseMoment(const std::string& text, bool& whole_day) {
  whole_day = true;
  if (text == "today") return chrono::floor<chrono::days>(Now());
  if (const auto day = ParseDay(text)) return *day;
  whole_day = false;
  for (const char* const rest : {"", "Z", ":00Z"}) {
    if (const auto time = ParseTime(text + rest)) return *time;
  }
  const auto count = text.empty() ? std::nullopt : Digits(std::string_view(text).substr(0, text.size() - 1));
  if (count && text.back() == 'd') return Now() - chrono::days(*count);
  if (count && text.back() == 'h') return Now() - chrono::hours(*count);
  throw std::invalid_argument("\"" + Clean(text) +
                              "\" is no time. Write 2026-11-21, 2026-11-21T06:00 (UTC), today, 7d or 24h");
}

}  // namespace

std::string Clean(std::string_view text) {
  const auto plain = [](char c) { return c >= 0x20 && c < 0x7F; };
  if (std::ranges::all_of(text, plain)) return std::string(text);
  std::string clean;
  while (!text.empty()) Append(clean, Visible(TakeCharacter(text)));
  return clean;
}

std::uint64_t Hash(std::string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  return hash;
}

std::optional<chrono::sys_seconds> ParseTime(std::string_view text) {
  if (text.size() != 20 || text[10] != 'T' || text[13] != ':' || text[16] != ':' || text[19] != 'Z') return {};
  const auto day = ParseDay(text.substr(0, 10));
  const auto hour = Digits(text.substr(11, 2));
  const auto minute = Digits(text.substr(14, 2));
  const auto second = Digits(text.substr(17, 2));
  if (!day || !hour || !minute || !second || *hour > 23 || *minute > 59 || *second > 60) return {};
  return *day + chrono::hours(*hour) + chrono::minutes(*minute) + chrono::seconds(*second);
}

std::string FormatTime(chrono::sys_seconds time) {
  const auto day = chrono::floor<chrono::days>(time);
  const chrono::year_month_day date(day);
  const chrono::hh_mm_ss clock(time - day);
  char text[40];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

chrono::sys_seconds Now() { return chrono::floor<chrono::seconds>(chrono::system_clock::now()); }

std::string Since(const std::string& text) {
  bool whole_day = false;
  return FormatTime(ParseMoment(text, whole_day));
}

std::string Until(const std::string& text) {
  bool whole_day = false;
  const chrono::sys_seconds time = ParseMoment(text, whole_day);
  return FormatTime(whole_day ? time + chrono::days(1) : time);
}

std::string Grouped(long number) {
  std::string text = std::to_string(number);
  for (auto place = static_cast<std::ptrdiff_t>(text.size()) - 3; place > 0; place -= 3)
    text.insert(text.begin() + place, ',');
  return text;
}

std::string Percent(long part, long whole) {
  if (whole == 0) return "-";
  const long hundredths = part * 10000 / whole;
  char text[40];
  std::snprintf(text, sizeof text, "%ld.%02ld %%", hundredths / 100, hundredths % 100);
  return text;
}

std::size_t Width(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) width += WidthOf(TakeCharacter(text));
  return width;
}

Table::Table(std::vector<std::string> heads) {
  for (std::string& head : heads) {
    numbers_.push_back(head.starts_with('>'));
    if (numbers_.back()) head.erase(0, 1);
  }
  rows_.push_back(std::move(heads));
}

void Table::Print(std::string_view indent) const {
  std::vector<std::size_t> widths(rows_.front().size());
  for (const auto& row : rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], Width(row[i]));
  }
  const auto terminal = TerminalWidth();
  const bool headless = std::ranges::all_of(rows_.front(), &std::string::empty);
  for (const auto& row : rows_) {
    if (headless && &row == &rows_.front()) continue;
    std::cout << indent;
    std::size_t used = Width(indent);
    for (std::size_t i = 0; i < row.size() && (!terminal || used < *terminal); ++i) {
      const std::string cell = terminal ? Cut(row[i], *terminal - used) : row[i];
      const bool last = i + 1 == row.size();
      const std::string padding(widths[i] - std::min(widths[i], Width(cell)), ' ');
      const char* const colour = ColourOf(cell);
      std::cout << (numbers_[i] ? padding : "") << (colour != nullptr ? colour : "") << cell
                << (colour != nullptr ? "\033[0m" : "") << (numbers_[i] || last ? "" : padding) << (last ? "" : "  ");
      used += widths[i] + 2;
    }
    std::cout << '\n';
  }
}

std::string CsvRow(const std::vector<std::string>& cells) {
  std::string row;
  for (const std::string& cell : cells) {
    if (!row.empty() || &cell != cells.data()) row += ',';
    double number = 0;
    const bool is_number =
        std::from_chars(cell.data(), cell.data() + cell.size(), number).ptr == cell.data() + cell.size();
    const bool formula =
        !cell.empty() && std::string_view("=+-@").find(cell[0]) != std::string_view::npos && !is_number;
    if (!formula && cell.find_first_of(",\"") == std::string::npos) {
      row += cell;
      continue;
    }
    row += formula ? "\"'" : "\"";
    for (const char c : cell) row += c == '"' ? "\"\"" : std::string(1, c);
    row += '"';
  }
  return row + "\r\n";
}

}  // namespace mfgline
