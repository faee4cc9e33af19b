// SPDX-License-Identifier: BSD-2-Clause-Patent
// Text on its way in and out: what a unit says about itself is never trusted.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mfgline {

// UTF-8 with nothing in it that steers a terminal, an XML reader or the order
// of letters: control characters become their pictures (U+2400 and on), other
// invisible characters and broken bytes become U+FFFD.
std::string Clean(std::string_view text);

// For names of files and for what is too long to be a key.
std::uint64_t Hash(std::string_view text);

// "2026-11-21T21:43:10Z", in whole seconds; nothing for any other shape.
std::optional<std::chrono::sys_seconds> ParseTime(std::string_view text);
std::string FormatTime(std::chrono::sys_seconds time);
std::chrono::sys_seconds Now();

// What --since and --until take ("2026-11-21", "2026-11-21T06:00", "today",
// "7d", "24h") as a text that sorts among the times of records. An end of a
// whole day is that of the day after. Throws what to write instead.
std::string Since(const std::string& text);
std::string Until(const std::string& text);

std::string Grouped(long number);
// With one decimal.
std::string Fixed(double number);
// Rounded down: 100.00 % is all of them.
std::string Percent(long part, long whole);

// Columns on a terminal, which is what counts where letters are wide or none.
std::size_t Width(std::string_view text);

// Rows under each other. A row is never folded: on a terminal its last cells are cut.
class Table {
 public:
  // A head that begins with ">" is that of numbers. Heads that are all empty are not shown.
  explicit Table(std::vector<std::string> heads);
  void Add(std::vector<std::string> cells);
  bool empty() const { return rows_.size() == 1; }
  void Print(std::string_view indent = "") const;

 private:
  void PrintCell(const std::string& cell, std::size_t column) const;

  std::vector<bool> numbers_;
  std::vector<std::size_t> widths_;
  std::vector<std::vector<std::string>> rows_;
};

// A row of RFC 4180. A text that a spreadsheet would take for a formula gets an
// apostrophe in front.
std::string CsvRow(const std::vector<std::string>& cells);

}  // namespace mfgline
