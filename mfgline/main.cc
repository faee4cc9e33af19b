// SPDX-License-Identifier: BSD-2-Clause-Patent
// mfgline: what ten thousand units' records say, on one command line.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>

#include "mfgline/add.h"
#include "mfgline/answers.h"
#include "mfgline/publish.h"
#include "mfgline/show.h"
#include "mfgline/store.h"
#include "mfgline/text.h"

namespace {

using namespace mfgline;

constexpr int kDone = 0;
constexpr int kDamagedOrDifferent = 1;
constexpr int kCouldNotRun = 2;

constexpr const char* kFooter = R"(
Examples:
  mfgline add /media/stick/results     take the records of a stick in; again does no harm
  mfgline summary --since today        what is wrong with the line today
  mfgline unit SN-0000001              every attempt of a unit, every value with its limit
  mfgline --database postgresql://line@db/line table
  mfgline COMMAND --help               options and examples of one command

Exit status: 0 done; 1 something was damaged (add), or differs (compare); 2 could not run.)";

struct Options {
  std::string database = "mfgline.db";
  Sources sources;
  std::string since;
  std::string until;
  Selection selection;
  std::vector<std::string> units;
  std::string folder;
  Waiver waiver;
  bool values = false;
  long running = 5;
};

std::unique_ptr<Database> Open(const Options& options) {
  auto database = OpenDatabase(options.database, false);
  PrepareTables(*database, false);
  return database;
}

std::vector<Unit> Selected(Database& database, const Options& options) {
  std::vector<Unit> units = Units(database, options.selection);
  if (units.empty()) std::cerr << "mfgline: " << options.database << " has no record that was asked for\n";
  return units;
}

Unit OneUnit(Database& database, const std::string& name) {
  const std::vector<Unit> units = Units(database, {}, name);
  if (units.empty())
    throw std::runtime_error("there is no record of a unit \"" + Clean(name) + "\". `mfgline table` lists all units");
  return units.front();
}

int RunAdd(const Options& options) {
  const auto database = OpenDatabase(options.database, true);
  PrepareTables(*database, true);
  return Add(*database, options.sources) ? kDone : kDamagedOrDifferent;
}

int RunTable(const Options& options) {
  const auto database = Open(options);
  ShowTable(Selected(*database, options));
  return kDone;
}

int RunUnit(const Options& options) {
  const auto database = Open(options);
  const Unit unit = OneUnit(*database, options.units.front());
  ShowUnit(unit, DetailsOf(*database, {}, unit.name, unit.name));
  return kDone;
}

int RunCompare(const Options& options) {
  const auto database = Open(options);
  std::vector<Unit> units;
  std::vector<Details> details;
  for (const std::string& name : options.units) {
    units.push_back(OneUnit(*database, name));
    details.push_back(DetailsOf(*database, {}, name, name));
  }
  const auto side = [&](std::size_t i) {
    const Attempt& last = units[i].Last();
    return Side{last, details[i][last.id], SettingsOf(StartOf(*database, last.id))};
  };
  return ShowDifferences(side(0), side(1)) ? kDone : kDamagedOrDifferent;
}

int RunSummary(const Options& options) {
  const auto database = Open(options);
  const std::vector<Unit> units = Selected(*database, options);
  if (!units.empty()) ShowSummary(Summarise(*database, options.selection, units, options.running), options.running);
  return kDone;
}

int RunCsv(const Options& options) {
  const auto database = Open(options);
  const std::vector<Unit> units = Selected(*database, options);
  if (!options.values) {
    WriteCsv(std::cout, units);
    return kDone;
  }
  WriteCsvHead(std::cout);
  ForEachUnit(*database, options.selection, units,
              [](const Unit& unit, const Details& details) { WriteCsvValues(std::cout, unit, details); });
  return kDone;
}

int RunJunit(const Options& options) {
  const auto database = Open(options);
  const std::vector<Unit> units = Selected(*database, options);
  std::cout << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
  ForEachUnit(*database, options.selection, units,
              [](const Unit& unit, const Details& details) { WriteJunitSuite(std::cout, unit, details); });
  std::cout << "</testsuites>\n";
  return kDone;
}

int RunPage(const Options& options) {
  const auto database = Open(options);
  const std::filesystem::path folder = options.folder;
  const std::vector<Unit> units = Selected(*database, options);
  std::filesystem::create_directories(folder / "units");
  ForEachUnit(*database, options.selection, units,
              [&](const Unit& unit, const Details& details) { WriteUnitPage(folder, unit, details); });
  WriteIndexPage(folder, Summarise(*database, options.selection, units, options.running), units, options.running);
  std::cout << "Open " << (folder / "index.html").string() << " in a browser\n";
  return kDone;
}

// A waiver that nothing has failed for may be a slip of the pen.
bool HasFailed(Database& database, const Waiver& waiver) {
  bool failed = false;
  database.Run("select 1 from finding where test = $1 and code = $2 and station = 0 limit 1",
               {waiver.test, waiver.code}, [&](const Row&) { failed = true; });
  return failed;
}

int RunWaive(const Options& options) {
  const auto database = Open(options);
  if (options.waiver.test.empty()) {
    ShowWaivers(Waivers(*database));
    return kDone;
  }
  Waiver waiver = options.waiver;
  if (waiver.code.empty() || waiver.reason.empty() || waiver.person.empty()) {
    throw std::runtime_error("a waiver needs TEST, CODE, --reason and --by: somebody answers for it");
  }
  if (!waiver.until.empty() && !ParseTime(waiver.until + "T00:00:00Z")) {
    throw std::runtime_error("\"" + Clean(waiver.until) + "\" is no day. Write --until 2026-11-30");
  }
  for (std::string* const text : {&waiver.test, &waiver.code, &waiver.product, &waiver.reason, &waiver.person})
    *text = Clean(*text);
  waiver.made = FormatTime(Now());
  if (!HasFailed(*database, waiver)) {
    std::cerr << "mfgline: note that no unit has failed test " << waiver.test << " with " << waiver.code
              << " so far. `mfgline summary` has the names of tests and codes\n";
  }
  AddWaiver(*database, waiver);
  std::cout << "Waived: test " << waiver.test << ", " << waiver.code
            << (IsExpired(waiver) ? ", which has expired already\n" : "\n");
  return kDone;
}

void AddSelection(CLI::App& command, Options& options) {
  command.add_option("--since", options.since,
                     "Records from then on: 2026-11-21, 2026-11-21T06:00 (UTC), today, 7d, 24h");
  command.add_option("--until", options.until, "Records up to then; a day counts as a whole");
  command.add_option("--product", options.selection.product, "Of one product (the name in the record)");
  command.add_option("--station", options.selection.station, "Of one station");
  command.add_option("--order", options.selection.order, "Of one order");
}

void AddRunning(CLI::App& command, Options& options) {
  command
      .add_option("--running", options.running, "Units running with the same failure that put an order under suspicion")
      ->check(CLI::Range(2L, 1000000L))
      ->capture_default_str();
}

struct Command {
  const char* name;
  int (*run)(const Options& options);
  const char* description;
  const char* examples;
  void (*add_options)(CLI::App& command, Options& options);
};

// clang-format off
constexpr Command kCommands[] = {
    {"add", RunAdd, "Take in records, from files, folders (*.jsonl, *.log, *.txt) and serial logs",
     "Examples:\n  mfgline add /media/stick/results\n  mfgline add --watch /srv/records\n  mfgline add - < /var/log/serial.txt",
     [](CLI::App& command, Options& options) {
       command.add_option("PATH", options.sources.paths, "File, folder, or - for standard input")->required();
       command.add_flag("--watch", options.sources.watch, "Keep following the folders, until Ctrl-C");
       command.add_option("--for", options.sources.seconds, "Follow for so many seconds only")->needs("--watch");
     }},
    {"table", RunTable, "One line a unit: verdict, time, duration, first failure",
     "Examples:\n  mfgline table --since 7d --station ST-2\n  mfgline table | grep FAIL",
     [](CLI::App& command, Options& options) { AddSelection(command, options); }},
    {"unit", RunUnit, "Every attempt of one unit, every value with its limit",
     "Example:\n  mfgline unit SN-0000001",
     [](CLI::App& command, Options& options) {
       command.add_option("SERIAL", options.units, "The unit's serial number")->required()->expected(1);
     }},
    {"compare", RunCompare, "What differs between the last attempts of two units; exit status 1 if anything does",
     "Example:\n  mfgline compare SN-0000001 SN-0000002",
     [](CLI::App& command, Options& options) {
       command.add_option("SERIAL", options.units, "The units' serial numbers")->required()->expected(2);
     }},
    {"summary", RunSummary, "What is wrong with the line: yields, failures, slow tests, drift",
     "Examples:\n  mfgline summary --since today\n  mfgline summary --order 4711 --running 3",
     [](CLI::App& command, Options& options) {
       AddSelection(command, options);
       AddRunning(command, options);
     }},
    {"junit", RunJunit, "The units' last attempts as JUnit XML on standard output",
     "Example:\n  mfgline junit --since today > line.xml",
     [](CLI::App& command, Options& options) { AddSelection(command, options); }},
    {"csv", RunCsv, "The units as CSV on standard output",
     "Examples:\n  mfgline csv > units.csv\n  mfgline csv --values --product \"Rack Server 2U\" > values.csv",
     [](CLI::App& command, Options& options) {
       AddSelection(command, options);
       command.add_flag("--values", options.values, "One line a value instead, of every attempt");
     }},
    {"page", RunPage, "Pages for a browser, which need no server",
     "Example:\n  mfgline page /srv/www/line",
     [](CLI::App& command, Options& options) {
       command.add_option("OUT", options.folder, "Folder for index.html and units/")->required();
       AddSelection(command, options);
       AddRunning(command, options);
     }},
    {"waive", RunWaive, "Take responsibility for a failure; without TEST, list what is waived",
     "Examples:\n  mfgline waive 37 unexpected-event --until 2026-11-30 --reason \"bad DIMM lot\" --by \"A. Example\"\n  mfgline waive",
     [](CLI::App& command, Options& options) {
       command.add_option("TEST", options.waiver.test, "The test's number");
       command.add_option("CODE", options.waiver.code, "The failure's short name, such as string-mismatch");
       command.add_option("--product", options.waiver.product, "Only units of this product");
       command.add_option("--until", options.waiver.until, "The last day, 2026-11-30; a day gone by ends an earlier waiver");
       command.add_option("--reason", options.waiver.reason, "Why");
       command.add_option("--by", options.waiver.person, "Who answers for it");
     }},
};
// clang-format on

// Gives the status of the command that was asked for.
int Run(CLI::App& program, Options& options, int argc, char** argv) {
  program.add_option("--database", options.database, "SQLite file, or postgresql://USER@HOST/NAME")
      ->envname("MFGLINE_DATABASE")
      ->capture_default_str();
  program.require_subcommand(0, 1);
  program.fallthrough();
  for (const Command& command : kCommands) {
    CLI::App& one = *program.add_subcommand(command.name, command.description)->footer(command.examples);
    command.add_options(one, options);
  }
  program.footer(kFooter);
  program.parse(argc, argv);
  if (!options.since.empty()) options.selection.since = Since(options.since);
  if (!options.until.empty()) options.selection.until = Until(options.until);
  const auto* const command =
      std::ranges::find_if(kCommands, [&](const Command& one) { return program.got_subcommand(one.name); });
  if (command == std::end(kCommands)) throw CLI::RequiredError("COMMAND");
  const int status = command->run(options);
  std::cout.flush();
  if (!std::cout) throw std::runtime_error("standard output cannot be written");
  return status;
}

int RunOrExplain(int argc, char** argv) {
  Options options;
  CLI::App program("mfgline: what the records of line runs say", "mfgline");
  try {
    return Run(program, options, argc, argv);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? kDone : kCouldNotRun;
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  try {
    return RunOrExplain(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "mfgline: %s\n", error.what());
    return kCouldNotRun;
  }
}
