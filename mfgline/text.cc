// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "mfgline/text.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <cwchar>
#include <iostream>
#include <stdexcept>

namespace mfgline {
namespace {

namespace chrono = std::chrono;

constexpr wchar_t kReplacement = 0xFFFD;

// Widths and characters are those of UTF-8, whatever the user's locale is.
const bool kUtf8 = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;

// Takes one character off the front of a text; broken bytes one by one.
wchar_t TakeCharacter(std::string_view& text) {
  wchar_t character = 0;
  std::mbstate_t state{};
  const std::size_t size = kUtf8 ? std::mbrtowc(&character, text.data(), text.size(), &state) : 1;
  const bool whole = size <= text.size();
  text.remove_prefix(whole ? std::max<std::size_t>(size, 1) : 1);
  return whole ? character : kReplacement;
}

void Append(std::string& to, wchar_t character) {
  char bytes[MB_LEN_MAX];
  std::mbstate_t state{};
  to.append(bytes, std::wcrtomb(bytes, character, &state));
}

bool Between(wchar_t character, wchar_t first, wchar_t last) { return character >= first && character <= last; }

wchar_t Visible(wchar_t c) {
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

std::size_t WidthOf(wchar_t character) {
  const int width = wcwidth(character);
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

std::string Cut(std::string_view text, std::size_t columns) {
  if (Width(text) <= columns) return std::string(text);
  std::string kept;
  for (std::size_t used = 1;;) {
    const wchar_t character = TakeCharacter(text);
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

// A moment, or the start of a whole day.
chrono::sys_seconds ParseMoment(const std::string& text, bool& whole_day) {
  whole_day = true;
  if (text == "today") return chrono::floor<chrono::days>(Now());
  if (const auto day = ParseTime(text + "T00:00:00Z")) return *day;
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
  constexpr std::string_view kShape = "2026-11-21T21:43:10Z";
  const auto fits = [](char c, char shape) { return std::isdigit(shape) ? std::isdigit(c) != 0 : c == shape; };
  if (!std::ranges::equal(text, kShape, fits)) return {};
  std::tm clock{};
  const std::string copy(text);
  const char* const end = strptime(copy.c_str(), "%Y-%m-%dT%H:%M:%SZ", &clock);
  if (end == nullptr || *end != 0) return {};
  const int day = clock.tm_mday;
  const std::time_t time = timegm(&clock);
  // The 31st of a shorter month would be another day.
  return clock.tm_mday == day ? std::optional(chrono::sys_seconds(chrono::seconds(time))) : std::nullopt;
}

std::string FormatTime(chrono::sys_seconds time) {
  const std::time_t seconds = time.time_since_epoch().count();
  std::tm clock{};
  char text[40];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&seconds, &clock))};
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

std::string Fixed(double number) {
  char text[400];
  std::snprintf(text, sizeof text, "%.1f", number);
  return text;
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
  widths_.resize(heads.size());
  Add(std::move(heads));
}

void Table::Add(std::vector<std::string> cells) {
  for (std::size_t i = 0; i < cells.size(); ++i) widths_[i] = std::max(widths_[i], Width(cells[i]));
  rows_.push_back(std::move(cells));
}

void Table::PrintCell(const std::string& cell, std::size_t column) const {
  const bool last = column + 1 == numbers_.size();
  const std::string padding(widths_[column] - std::min(widths_[column], Width(cell)), ' ');
  const char* const colour = ColourOf(cell);
  if (numbers_[column]) std::cout << padding;
  if (colour != nullptr) std::cout << colour;
  std::cout << cell;
  if (colour != nullptr) std::cout << "\033[0m";
  if (!numbers_[column] && !last) std::cout << padding;
  if (!last) std::cout << "  ";
}

void Table::Print(std::string_view indent) const {
  const auto terminal = TerminalWidth();
  const bool headless = std::ranges::all_of(rows_.front(), &std::string::empty);
  for (const auto& row : rows_) {
    if (headless && &row == &rows_.front()) continue;
    std::cout << indent;
    std::size_t used = Width(indent);
    for (std::size_t i = 0; i < row.size() && (!terminal || used < *terminal); ++i) {
      PrintCell(terminal ? Cut(row[i], *terminal - used) : row[i], i);
      used += widths_[i] + 2;
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
