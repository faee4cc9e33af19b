// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "mfgline/database.h"

#include <libpq-fe.h>
#include <sqlite3.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <stdexcept>

namespace mfgline {
namespace {

// How long SQLite waits for another writer.
constexpr int kWaitMilliseconds = 60'000;
// 64 MB of its pages in memory: a record then costs the same as the file grows.
constexpr const char* kCache = "pragma cache_size = -65536";
// PostgreSQL's writers take turns by this key of an advisory lock.
constexpr const char* kTurn = "select pg_advisory_xact_lock(1835427692)";

// Of one call to PostgreSQL, which takes 65,535 values.
constexpr std::size_t kRowsOfOneCall = 1000;

// "($1, $2)" for two columns behind no others.
std::string Places(std::size_t columns, std::size_t before) {
  std::string places = "(";
  for (std::size_t i = 1; i <= columns; ++i) places += (i == 1 ? "$" : ", $") + std::to_string(before + i);
  return places + ")";
}

template <typename Number>
Number Parse(std::string_view text) {
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

class Sqlite final : public Database {
 public:
  Sqlite(const std::string& name, bool create) {
    const int flags = SQLITE_OPEN_READWRITE | (create ? SQLITE_OPEN_CREATE : 0);
    sqlite3* handle = nullptr;
    const int status = sqlite3_open_v2(name.c_str(), &handle, flags, nullptr);
    handle_.reset(handle);
    if (status != SQLITE_OK) Fail();
    sqlite3_busy_timeout(handle, kWaitMilliseconds);
    Sqlite::Run(kCache, {}, {});
  }

  void Begin() override { Run("begin immediate", {}, {}); }

  void Insert(const std::string& table, const std::vector<Values>& rows) override {
    if (rows.empty()) return;
    sqlite3_stmt* const statement = Prepared("insert into " + table + " values " + Places(rows.front().size(), 0));
    for (const Values& row : rows) {
      sqlite3_reset(statement);
      for (std::size_t i = 0; i < row.size(); ++i) Bind(statement, static_cast<int>(i + 1), row[i]);
      if (sqlite3_step(statement) != SQLITE_DONE) Fail();
    }
    sqlite3_reset(statement);
  }

  void Run(const std::string& sql, const Values& values, const OnRow& on_row) override {
    sqlite3_stmt* const statement = Prepared(sql);
    sqlite3_reset(statement);
    for (std::size_t i = 0; i < values.size(); ++i) {
      Bind(statement, sqlite3_bind_parameter_index(statement, ("$" + std::to_string(i + 1)).c_str()), values[i]);
    }
    std::vector<std::string_view> cells(static_cast<std::size_t>(sqlite3_column_count(statement)));
    int status = sqlite3_step(statement);
    for (; status == SQLITE_ROW; status = sqlite3_step(statement)) {
      for (int i = 0; i < static_cast<int>(cells.size()); ++i) {
        const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
        cells[static_cast<std::size_t>(i)] = {text == nullptr ? "" : text,
                                              static_cast<std::size_t>(sqlite3_column_bytes(statement, i))};
      }
      if (on_row) on_row({cells});
    }
    if (status != SQLITE_DONE) Fail();
    sqlite3_reset(statement);
  }

 private:
  using Statement = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

  [[noreturn]] void Fail() {
    throw std::runtime_error(std::string("the database says: ") + sqlite3_errmsg(handle_.get()));
  }

  void Bind(sqlite3_stmt* statement, int place, const std::string& value) {
    const auto size = static_cast<int>(value.size());
    if (sqlite3_bind_text(statement, place, value.data(), size, SQLITE_STATIC) != SQLITE_OK) Fail();
  }

  sqlite3_stmt* Prepared(const std::string& sql) {
    if (const auto known = statements_.find(sql); known != statements_.end()) return known->second.get();
    sqlite3_stmt* statement = nullptr;
    const int status =
        sqlite3_prepare_v2(handle_.get(), sql.c_str(), static_cast<int>(sql.size()), &statement, nullptr);
    if (status != SQLITE_OK) Fail();
    return statements_.emplace(sql, Statement(statement, sqlite3_finalize)).first->second.get();
  }

  std::unique_ptr<sqlite3, decltype(&sqlite3_close)> handle_{nullptr, sqlite3_close};
  std::map<std::string, Statement> statements_;
};

class Postgresql final : public Database {
 public:
  explicit Postgresql(const std::string& name) : connection_(PQconnectdb(name.c_str()), PQfinish) {
    if (PQstatus(connection_.get()) != CONNECTION_OK) Fail();
    PQsetClientEncoding(connection_.get(), "UTF8");
    Postgresql::Run("set client_min_messages = warning", {}, {});
  }

  void Begin() override {
    Run("begin", {}, {});
    Run(kTurn, {}, {});
  }

  void Insert(const std::string& table, const std::vector<Values>& rows) override {
    for (std::size_t begin = 0; begin < rows.size(); begin += kRowsOfOneCall) {
      std::string sql = "insert into " + table + " values ";
      Values values;
      for (std::size_t i = begin; i < std::min(rows.size(), begin + kRowsOfOneCall); ++i) {
        sql += (i == begin ? "" : ", ") + Places(rows[i].size(), values.size());
        values.insert(values.end(), rows[i].begin(), rows[i].end());
      }
      Run(sql, values, {});
    }
  }

  void Run(const std::string& sql, const Values& values, const OnRow& on_row) override {
    std::vector<const char*> texts;
    for (const std::string& value : values) texts.push_back(value.c_str());
    if (PQsendQueryParams(connection_.get(), sql.c_str(), static_cast<int>(texts.size()), nullptr, texts.data(),
                          nullptr, nullptr, 0) == 0) {
      Fail();
    }
    PQsetSingleRowMode(connection_.get());
    std::string message;
    while (const Result result{PQgetResult(connection_.get()), PQclear}) {
      const ExecStatusType status = PQresultStatus(result.get());
      if (status == PGRES_SINGLE_TUPLE && on_row) Give(*result, on_row);
      if (status == PGRES_FATAL_ERROR) message = PQresultErrorMessage(result.get());
    }
    if (!message.empty()) throw std::runtime_error("the database says: " + message);
  }

 private:
  using Result = std::unique_ptr<PGresult, decltype(&PQclear)>;

  [[noreturn]] void Fail() {
    throw std::runtime_error(std::string("the database says: ") + PQerrorMessage(connection_.get()));
  }

  static void Give(const PGresult& row, const OnRow& on_row) {
    std::vector<std::string_view> cells;
    cells.reserve(static_cast<std::size_t>(PQnfields(&row)));
    for (int i = 0; i < PQnfields(&row); ++i) {
      cells.emplace_back(PQgetvalue(&row, 0, i), static_cast<std::size_t>(PQgetlength(&row, 0, i)));
    }
    on_row({cells});
  }

  std::unique_ptr<PGconn, decltype(&PQfinish)> connection_;
};

}  // namespace

long Row::Number(std::size_t column) const { return Parse<long>(cells[column]); }
double Row::Real(std::size_t column) const { return Parse<double>(cells[column]); }

std::unique_ptr<Database> OpenDatabase(const std::string& name, bool create) {
  if (name.starts_with("postgresql://") || name.starts_with("postgres://")) return std::make_unique<Postgresql>(name);
  if (!create && !std::filesystem::exists(name)) {
    throw std::runtime_error(name +
                             " does not exist. `mfgline add FOLDER` makes a database of the records in a folder; " +
                             "--database names another one");
  }
  return std::make_unique<Sqlite>(name, create);
}

}  // namespace mfgline
