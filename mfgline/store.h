// SPDX-License-Identifier: BSD-2-Clause-Patent
// What a database keeps of records, and how it gets there.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "mfgline/database.h"
#include "mfgline/record.h"

namespace mfgline {

struct Stored {
  long added = 0;
  // Replaced a shorter record of the same run, or were no longer than the one that is there.
  long longer = 0;
  long known = 0;
};

// Creates the tables where there are none; refuses those of a newer program.
void PrepareTables(Database& database, bool create);

// All records in one transaction.
void Store(Database& database, const std::vector<Record>& records, Stored& stored);

// The line of a record's testRunStart.
std::string StartOf(Database& database, long record);

// A failure that people take responsibility for.
struct Waiver {
  std::string test;
  std::string code;
  // Empty: of every product.
  std::string product;
  // The last day, empty for no end.
  std::string until;
  std::string reason;
  std::string person;
  std::string made;
};

void AddWaiver(Database& database, const Waiver& waiver);
// The newest one for each test, code and product, which is the one that counts.
std::vector<Waiver> Waivers(Database& database);
bool IsExpired(const Waiver& waiver);

}  // namespace mfgline
