// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "fuzz/words.h"

#include <algorithm>
#include <vector>

#include "simulation/text.h"
#include "testlib/parameter_table.h"

namespace fuzz {
namespace {

using Strings = std::vector<std::string>;

// The names of the table, each with its number, and what may stand beside them.
Strings ParameterWords() {
  Strings words = {"env=",     "env=SERIAL", "env=PLANE", "ask",      "ask:",    "YES",  "NO",
                   "required", "0x",         "-f",        "-d",       "--file",  "stop", "write",
                   "--trace",  "SMBIOS",     "FLASH",     "fuzz.cfg", "= \"\"\n"};
  for (const testlib::ParameterRow& row : testlib::ParameterTable()) {
    std::string name = simulation::Readable(row.name);
    std::ranges::replace(name, '#', '0');
    words.push_back(name + "=");
    words.push_back("\n" + name + " = ");
  }
  return words;
}

}  // namespace

std::span<const std::string> WordsOf(Vocabulary kind) {
  static const Strings tables = {"_SM_", "_DMI_", "_SM3_", "RSD PTR ", "RSDT", "XSDT"};
  static const Strings parameters = ParameterWords();
  static const Strings records = {"@MFG ",
                                  "\"schemaVersion\":",
                                  "\"sequenceNumber\":",
                                  "\"timestamp\":",
                                  "\"testRunArtifact\":",
                                  "\"testRunStart\"",
                                  "\"testRunEnd\"",
                                  "\"testStepArtifact\"",
                                  "\"testStepId\":",
                                  "\"testStepStart\"",
                                  "\"testStepEnd\"",
                                  "\"dutInfo\"",
                                  "\"dutInfoId\":",
                                  "\"metadata\":",
                                  "\"extension\":",
                                  "\"measurement\":",
                                  "\"validators\":",
                                  "\"EQUAL\"",
                                  "\"diagnosis\":",
                                  "\"verdict\":",
                                  "\"status\":",
                                  "\"result\":",
                                  "\"COMPLETE\"",
                                  "\"ERROR\"",
                                  "\"PASS\"",
                                  "\"FAIL\"",
                                  "\"SKIP\"",
                                  "\"log\":",
                                  "\"error\":",
                                  "\"commandLine\":"};
  static const Strings dumps = {"_SM_",
                                "_DMI_",
                                "_SM3_",
                                "RSD PTR ",
                                "\"controller\":",
                                "\"acpi\":",
                                "\"address\"",
                                "\"fru\":",
                                "\"mac\":",
                                "\"network\":",
                                "\"name\":",
                                "\"vendor\":",
                                "\"completionCode\":",
                                "\"data\":",
                                "\"registers\":",
                                "\"files\":",
                                "\"size\":",
                                "\"crc32\":",
                                "\"oemQuery\"",
                                "\"systemGuid\""};
  switch (kind) {
    case Vocabulary::kTables:
      return tables;
    case Vocabulary::kParameters:
      return parameters;
    case Vocabulary::kRecords:
      return records;
    case Vocabulary::kDumps:
      return dumps;
    default:
      return {};
  }
}

}  // namespace fuzz
