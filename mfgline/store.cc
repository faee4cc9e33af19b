// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "mfgline/store.h"

#include <algorithm>
#include <stdexcept>

#include "mfgline/text.h"

namespace mfgline {
namespace {

constexpr long kVersion = 1;

// A step's place and a value's line are their order in the record.
constexpr const char* kTables[] = {
    "create table if not exists mfgline (version integer not null)",
    R"(create table if not exists record (
         id integer primary key, unit text not null, started text not null, ended text not null, seconds bigint not null,
         verdict text not null, product text not null, station text not null, lot text not null, person text not null,
         version text not null, command text not null, lines integer not null, missing integer not null,
         source text not null, start text not null, unique (unit, started)))",
    R"(create table if not exists step (
         record integer not null, place integer not null, step text not null, test text not null, title text not null,
         verdict text not null, note text not null, seconds bigint not null, waits bigint not null,
         repeats bigint not null, primary key (record, place)))",
    R"(create table if not exists measured (
         record integer not null, line integer not null, place integer not null, name text not null, value text not null, unit text not null,
         expected text not null, outside integer not null, primary key (record, line)))",
    // Values whose limit is a range, which may drift.
    R"(create table if not exists number (
         record integer not null, test text not null, name text not null, number double precision not null))",
    "create index if not exists number_record on number (record)",
    R"(create table if not exists finding (
         record integer not null, line integer not null, place integer not null, test text not null, title text not null, station integer not null,
         code text not null, message text not null, name text not null, value text not null, expected text not null, primary key (record, line)))",
    R"(create table if not exists waiver (
         id integer primary key, test text not null, code text not null, product text not null, last_day text not null,
         reason text not null, person text not null, made text not null))",
};

long OneNumber(Database& database, const std::string& sql, const Database::Values& values = {}) {
  long number = 0;
  database.Run(sql, values, [&](const Row& row) { number = row.Number(0); });
  return number;
}

std::string Seconds(const Record& record) {
  return std::to_string((*ParseTime(record.ended) - *ParseTime(record.started)).count());
}

std::vector<Database::Values> StepRows(const std::string& id, const Record& record) {
  std::vector<Database::Values> rows;
  for (const Step& step : record.steps) {
    rows.push_back({id, std::to_string(rows.size()), step.id, TestOf(step.id), step.title, step.verdict, step.note,
                    std::to_string(step.seconds), std::to_string(step.waits), std::to_string(step.repeats)});
  }
  return rows;
}

void Insert(Database& database, const Record& record) {
  const std::string id = std::to_string(OneNumber(database, "select coalesce(max(id), 0) + 1 from record"));
  database.Insert("record",
                  {{id, record.unit, record.started, record.ended, Seconds(record), record.verdict, record.product,
                    record.station, record.order, record.person, record.version, record.command,
                    std::to_string(record.lines), std::to_string(record.missing), record.source, record.start}});
  std::vector<Database::Values> values;
  std::vector<Database::Values> numbers;
  std::vector<Database::Values> findings;
  for (std::size_t i = 0; i < record.steps.size(); ++i) {
    const Step& step = record.steps[i];
    const std::string place = std::to_string(i);
    for (const Value& value : step.values) {
      values.push_back({id, std::to_string(values.size()), place, value.name, value.value, value.unit, value.limit,
                        value.outside ? "1" : "0"});
      if (value.number) numbers.push_back({id, TestOf(step.id), value.name, std::to_string(*value.number)});
    }
    for (const Finding& finding : step.findings) {
      findings.push_back({id, std::to_string(findings.size()), place, TestOf(step.id), step.title,
                          finding.station ? "1" : "0", finding.code, finding.message, finding.name, finding.measured,
                          finding.limit});
    }
  }
  database.Insert("step", StepRows(id, record));
  database.Insert("measured", values);
  database.Insert("number", numbers);
  database.Insert("finding", findings);
}

void StoreOne(Database& database, const Record& record, Stored& stored) {
  std::string id;
  long lines = 0;
  database.Run("select id, lines from record where unit = $1 and started = $2", {record.unit, record.started},
               [&](const Row& row) {
                 id = row.Text(0);
                 lines = row.Number(1);
               });
  if (!id.empty() && record.lines <= lines) {
    ++stored.known;
    return;
  }
  if (!id.empty()) {
    for (const char* const table : {"step", "measured", "number", "finding"}) {
      database.Run(std::string("delete from ") + table + " where record = $1", {id});
    }
    database.Run("delete from record where id = $1", {id});
  }
  Insert(database, record);
  ++(id.empty() ? stored.added : stored.longer);
}

}  // namespace

void PrepareTables(Database& database, bool create) {
  if (create) {
    database.Begin();
    for (const char* const table : kTables) database.Run(table);
    if (OneNumber(database, "select count(*) from mfgline") == 0) {
      database.Run("insert into mfgline values ($1)", {std::to_string(kVersion)});
    }
    database.Run("commit");
  }
  const long version = OneNumber(database, "select max(version) from mfgline");
  if (version == kVersion) return;
  throw std::runtime_error("the database is that of a newer mfgline (its tables have version " +
                           std::to_string(version) + "): install that one");
}

void Store(Database& database, const std::vector<Record>& records, Stored& stored) {
  if (records.empty()) return;
  database.Begin();
  for (const Record& record : records) StoreOne(database, record, stored);
  database.Run("commit");
}

std::string StartOf(Database& database, long record) {
  std::string start;
  database.Run("select start from record where id = $1", {std::to_string(record)},
               [&](const Row& row) { start = row.Text(0); });
  return start;
}

void AddWaiver(Database& database, const Waiver& waiver) {
  database.Begin();
  database.Run("insert into waiver select coalesce(max(id), 0) + 1, $1, $2, $3, $4, $5, $6, $7 from waiver",
               {waiver.test, waiver.code, waiver.product, waiver.until, waiver.reason, waiver.person, waiver.made});
  database.Run("commit");
}

std::vector<Waiver> Waivers(Database& database) {
  std::vector<Waiver> waivers;
  database.Run(
      "select test, code, product, last_day, reason, person, made from waiver w where not exists (select 1 from waiver n "
      "where n.test = w.test and n.code = w.code and n.product = w.product and n.id > w.id) order by id",
      {}, [&](const Row& row) {
        waivers.push_back({row.Text(0), row.Text(1), row.Text(2), row.Text(3), row.Text(4), row.Text(5), row.Text(6)});
      });
  return waivers;
}

bool IsExpired(const Waiver& waiver) { return !waiver.until.empty() && waiver.until < FormatTime(Now()).substr(0, 10); }

}  // namespace mfgline
