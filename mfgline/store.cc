#include "mfgline/store.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "mfgline/text.h"

namespace mfgline {
namespace {

using nlohmann::json;

constexpr long kVersion = 1;

// A number that a test counts by is its step's place: the order in the record.
constexpr const char* kTables[] = {
    "create table if not exists mfgline (version integer not null)",
    R"(create table if not exists record (
         id integer primary key, unit text not null, started text not null, ended text not null, seconds bigint not null,
         verdict text not null, product text not null, station text not null, lot text not null, person text not null,
         version text not null, command text not null, lines integer not null, missing integer not null,
         source text not null, settings text not null, unique (unit, started)))",
    R"(create table if not exists step (
         record integer not null, place integer not null, step text not null, test text not null, title text not null,
         verdict text not null, note text not null, seconds bigint not null, waits bigint not null,
         repeats bigint not null, primary key (record, place)))",
    R"(create table if not exists measured (
         record integer not null, place integer not null, name text not null, value text not null, unit text not null,
         expected text not null, outside integer not null, number double precision))",
    "create index if not exists measured_record on measured (record)",
    "create index if not exists measured_number on measured (record) where number is not null",
    R"(create table if not exists finding (
         record integer not null, place integer not null, test text not null, title text not null, station integer not null,
         code text not null, message text not null, name text not null, value text not null, expected text not null))",
    "create index if not exists finding_record on finding (record)",
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

// A table's rows of one record go in as one JSON text, in one call.
struct Rows {
  json steps = json::array();
  json values = json::array();
  json findings = json::array();
};

Rows RowsOf(const Record& record) {
  Rows rows;
  for (std::size_t place = 0; place < record.steps.size(); ++place) {
    const Step& step = record.steps[place];
    const std::string test = TestOf(step.id);
    rows.steps.push_back({place, step.id, test, step.title, step.verdict, step.note, step.seconds, step.waits, step.repeats});
    for (const Value& value : step.values) {
      const json number = value.number ? json(*value.number) : json();
      rows.values.push_back({place, value.name, value.value, value.unit, value.limit, value.outside ? 1 : 0, number});
    }
    for (const Finding& finding : step.findings) {
      rows.findings.push_back({place, test, step.title, finding.station ? 1 : 0, finding.code, finding.message, finding.name,
                               finding.measured, finding.limit});
    }
  }
  return rows;
}

// "as integer" and so on for each column behind the record's number.
void InsertRows(Database& database, const std::string& table, const std::vector<const char*>& types, const std::string& id,
                const json& rows) {
  if (rows.empty()) return;
  std::string sql = "insert into " + table + " select cast($1 as integer)";
  for (std::size_t i = 0; i < types.size(); ++i) {
    sql += ", cast(row.value->>" + std::to_string(i) + " as " + types[i] + ")";
  }
  database.Run(sql + " from " + database.RowsOf("$2"), {id, rows.dump()});
}

void Insert(Database& database, const Record& record) {
  const std::string id = std::to_string(OneNumber(database, "select coalesce(max(id), 0) + 1 from record"));
  database.Run("insert into record values ($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, $11, $12, $13, $14, $15, $16)",
               {id, record.unit, record.started, record.ended, Seconds(record), record.verdict, record.product,
                record.station, record.order, record.person, record.version, record.command, std::to_string(record.lines),
                std::to_string(record.missing), record.source, json(record.settings).dump()});
  const Rows rows = RowsOf(record);
  InsertRows(database, "step", {"integer", "text", "text", "text", "text", "text", "bigint", "bigint", "bigint"}, id,
             rows.steps);
  InsertRows(database, "measured", {"integer", "text", "text", "text", "text", "integer", "double precision"}, id,
             rows.values);
  InsertRows(database, "finding", {"integer", "text", "text", "integer", "text", "text", "text", "text", "text"}, id,
             rows.findings);
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
    for (const char* const table : {"step", "measured", "finding"}) {
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
  if (version != kVersion) throw std::runtime_error("the database is that of a newer mfgline (its tables have version " +
                                                    std::to_string(version) + "): install that one");
}

void Store(Database& database, const std::vector<Record>& records, Stored& stored) {
  if (records.empty()) return;
  database.Begin();
  for (const Record& record : records) StoreOne(database, record, stored);
  database.Run("commit");
}

std::map<std::string, std::string> SettingsOf(Database& database, long record) {
  std::string text = "{}";
  database.Run("select settings from record where id = $1", {std::to_string(record)},
               [&](const Row& row) { text = row.Text(0); });
  return json::parse(text).get<std::map<std::string, std::string>>();
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
