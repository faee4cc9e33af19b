// SPDX-License-Identifier: BSD-2-Clause-Patent
// One interface to SQLite and PostgreSQL: SQL that both know, values bound to
// $1, $2 and so on, answers as text. Their own C libraries are all it needs.
// Of what Debian has above them, SOCI damages a postgresql:// address, opens
// another file when a name holds a quotation mark, and brings Boost and the
// clients of three more databases along; libpqxx 6 holds whole answers in memory.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace mfgline {

// A row of an answer, valid until the next one. A null is an empty text.
struct Row {
  std::span<const std::string_view> cells;

  std::string Text(std::size_t column) const { return std::string(cells[column]); }
  long Number(std::size_t column) const;
  double Real(std::size_t column) const;
};

// What a database can do. All of it throws std::runtime_error with a text for the user.
class Database {
 public:
  using Values = std::vector<std::string>;
  using OnRow = std::function<void(const Row& row)>;

  virtual ~Database() = default;
  virtual void Run(const std::string& sql, const Values& values = {}, const OnRow& on_row = {}) = 0;
  // Begins a transaction in which nobody else writes; others wait.
  virtual void Begin() = 0;
  // Rows that all have a value for every column of a table.
  virtual void Insert(const std::string& table, const std::vector<Values>& rows) = 0;
};

// "postgresql://…" or the file of an SQLite database, which is created only if asked.
std::unique_ptr<Database> OpenDatabase(const std::string& name, bool create);

}  // namespace mfgline
