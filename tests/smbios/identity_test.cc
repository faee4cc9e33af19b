// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "smbios/identity.h"

#include <algorithm>
#include <map>

#include "simulation/station.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/smbios/server_identity.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::Station;
using simulation::TextData;
using simulation::Widen;

struct Field {
  std::uint32_t test;
  const char* parameter;
  const char* programmed;
};

const Field kFields[] = {
    {1, "System_Manufacturer", "ACME"},       {2, "System_Product", "Rack Server"},
    {3, "System_Part_Number", "SYS-PN"},      {4, "System_Serial_Number", "SYS-SN"},
    {5, "Board_Manufacturer", "Boards Inc"},  {6, "Board_Product", "Main Board"},
    {7, "Board_Part_Number", "BRD-PN"},       {8, "Board_Serial_Number", "BRD-SN"},
    {9, "Chassis_Manufacturer", "Cases Ltd"}, {11, "Chassis_Part_Number", "CHS-PN"},
    {12, "Chassis_Serial_Number", "CHS-SN"},  {13, "Chassis_Asset", "CHS-TAG"},
};

// The complaints of each kind.
struct Texts {
  std::size_t room;
  const char* too_long;
  const char* unreadable;
  const char* no_variable;
  const char* mismatch;
};

const std::map<char, Texts> kTexts = {
    {'S',
     {32, R"(\nFailed to get param:{parameter}. \nBuffer too small, buffer size must < 32.\n)",
      R"(\nFailed to get param:{parameter}\n)", R"(\nEnviroment Variable GONE not found)",
      R"(\n{parameter} mismatched. \nExp: \"{wanted}\"\nRec: \"{found}\"\n)"}},
    {'B',
     {50, R"(\nFailed to get param:{parameter}. \nBuffer too small, buffer size must < 50.\n)",
      R"(\nFailed to get param:{parameter}\n)", R"(\nEnviroment Variable GONE not found\n)",
      R"(\n{parameter} mismatched. \nExp:\"{wanted}\"\nRec: \"{found}\"\n)"}},
    {'C',
     {50, R"(\nFailed to get param:{parameter}. \nBuffer too small, buffer size must < 50.\n)",
      R"(\nFailed to get param:{parameter}. \n)", R"(\nEnviroment Variable GONE not found)",
      R"(\n{parameter} mismatched. \nExp: \"{wanted}\"\nRec:\"{found}\"\n)"}},
};

std::string Replaced(std::string text, const std::string& mark, const std::string& by) {
  const std::size_t at = text.find(mark);
  return at == std::string::npos ? text : text.replace(at, mark.size(), by);
}

// The errors of a test with that value of its parameter, which a null leaves out.
Lines ErrorsOf(const Field& field, const char* value, TestLibraryStatus status = kTestLibrarySuccess) {
  Station station;
  station.smbios = ServerIdentity();
  station.machine.variables.Add(u"MFG", TextData(Widen(field.programmed)));
  if (value != nullptr) station.library->parameters[Widen(field.parameter)] = Widen(value);
  if (status != kTestLibrarySuccess) station.library->parameter_statuses[Widen(field.parameter)] = status;
  return Errors(station.Run(field.test));
}

TEST(Identity, EveryFieldPassesAndFailsInItsOwnWords) {
  for (const Field& field : kFields) {
    SCOPED_TRACE(field.parameter);
    const Texts& texts = kTexts.at(field.parameter[0]);
    const std::string unreadable = Error(1, Replaced(texts.unreadable, "{parameter}", field.parameter));
    const std::string mismatch = Replaced(Replaced(texts.mismatch, "{wanted}", "Zen"), "{found}", field.programmed);

    EXPECT_EQ(ErrorsOf(field, field.programmed), Lines{});
    EXPECT_EQ(ErrorsOf(field, "env=MFG"), Lines{});
    EXPECT_EQ(ErrorsOf(field, "Zen"), Lines{Error(4, Replaced(mismatch, "{parameter}", field.parameter))});
    EXPECT_EQ(ErrorsOf(field, nullptr), Lines{unreadable});
    EXPECT_EQ(ErrorsOf(field, "Zen", 5), Lines{unreadable});
    EXPECT_EQ(ErrorsOf(field, std::string(texts.room, 'x').c_str()),
              Lines{Error(1, Replaced(texts.too_long, "{parameter}", field.parameter))});
    EXPECT_EQ(ErrorsOf(field, "env=GONE"), Lines{Error(17, texts.no_variable)});
  }
}

TEST(Identity, AnIndexBeyondTheFieldsOnlyShows) {
  const std::pair<void (*)(std::uint32_t), std::uint32_t> cases[] = {{mfgtest::VerifySystemString, 4},
                                                                     {mfgtest::VerifyBoardString, 4},
                                                                     {mfgtest::VerifyChassisString, 5},
                                                                     {mfgtest::VerifySystemString, ~0u}};
  for (const auto& [verify, index] : cases) {
    Station station;
    station.smbios = ServerIdentity();
    station.Bind();
    verify(index);
    const Lines lines = station.Transcript();
    EXPECT_FALSE(lines.empty());
    EXPECT_EQ(Only({"DebugPrint"}, lines), lines);
  }
}

struct Comparison {
  const char* name;
  std::vector<std::uint8_t> fields;
  std::vector<std::string> strings;
  const char16_t* expected;
  // What a mismatch shows; null for a pass.
  const char* received;
};

const std::vector<std::string> kTwelve = {"1", "2", "3", "4", "5", "6", "7", "8", "9", "ten", "eleven", "twelve"};

// Test 3 compares the third field.
const Comparison kComparisons[] = {
    {"trailing blanks in the table", {0, 0, 1}, {"PN-1  "}, u"PN-1", nullptr},
    {"trailing blanks expected", {0, 0, 1}, {"PN-1"}, u"PN-1 ", "PN-1"},
    {"trailing blanks in both", {0, 0, 1}, {"PN-1 "}, u"PN-1 ", "PN-1"},
    {"leading blanks count", {0, 0, 1}, {" PN-1"}, u"PN-1", " PN-1"},
    {"a tab is no blank", {0, 0, 1}, {"PN-1\t"}, u"PN-1", "PN-1\\t"},
    {"blanks only", {0, 0, 1}, {"   "}, u" ", nullptr},
    {"case counts", {0, 0, 1}, {"PN-1"}, u"pn-1", "PN-1"},
    {"a beginning only", {0, 0, 1}, {"PN-12"}, u"PN-1", "PN-12"},
    {"no string, nothing expected", {0, 0, 0}, {"PN-1"}, u"", nullptr},
    {"no string", {0, 0, 0}, {"PN-1"}, u"PN-1", ""},
    {"the tenth string", {0, 0, 10}, kTwelve, u"ten", nullptr},
    {"beyond the collected strings", {0, 0, 11}, kTwelve, u"eleven", ""},
    {"beyond the strings of the structure", {0, 0, 2}, {"PN-1"}, u"PN-1", ""},
    {"string number 255", {0, 0, 255}, {"PN-1"}, u"", nullptr},
    {"field beyond the length", {1, 1}, {"PN-1"}, u"", nullptr},
    {"field beyond the length, expected", {1, 1}, {"\x01"}, u"PN-1", ""},
    {"header only", {}, {}, u"", nullptr},
    {"not a reference", {0, 0, 1}, {"env"}, u"env", nullptr},
    {"nearly a reference", {0, 0, 1}, {"env:MFG"}, u"env:MFG", nullptr},
    {"a reference inside", {0, 0, 1}, {"xenv=MFG"}, u"xenv=MFG", nullptr},
};

TEST(Identity, ComparesTheTrimmedStringExactly) {
  for (const Comparison& comparison : kComparisons) {
    SCOPED_TRACE(comparison.name);
    Station station;
    station.smbios.Add(1, 0x100, comparison.fields, comparison.strings).Add(2, 0x201, {1, 1, 1, 1}, {"PN-1"});
    station.library->parameters[u"System_Part_Number"] = comparison.expected;
    Lines expected;
    if (comparison.received != nullptr) {
      expected = {Error(4, R"(\nSystem_Part_Number mismatched. \nExp: \")" + simulation::Readable(comparison.expected) +
                               R"(\"\nRec: \")" + comparison.received + R"(\"\n)")};
    }
    EXPECT_EQ(Errors(station.Run(3)), expected);
  }
}

TEST(Identity, ReferencesAreRecognisedInAnyCaseWithAnyCollation) {
  for (const EFI_GUID* const protocol :
       {&kUnicodeCollation2ProtocolGuid, &kUnicodeCollationProtocolGuid, static_cast<const EFI_GUID*>(nullptr)}) {
    for (const char16_t* const reference : {u"env=MFG", u"ENV=MFG", u"Env=mfg", u"enV=Mfg"}) {
      Station station;
      station.collation.reset();
      if (protocol != nullptr) station.collation.emplace(station.machine, *protocol);
      station.smbios = ServerIdentity();
      station.library->parameters[u"System_Manufacturer"] = reference;
      station.machine.variables.Add(u"MFG", TextData(u"ACME"));
      EXPECT_EQ(Errors(station.Run(1)), Lines{});
      EXPECT_TRUE(protocol == nullptr || station.collation->comparisons > 0);
    }
  }
}

TEST(Identity, TheModernCollationIsPreferred) {
  Station station;
  simulation::Collation original(station.machine, kUnicodeCollationProtocolGuid);
  station.smbios = ServerIdentity();
  station.library->parameters[u"System_Manufacturer"] = u"ACME";
  EXPECT_EQ(Errors(station.Run(1)), Lines{});
  EXPECT_GT(station.collation->comparisons, 0u);
  EXPECT_EQ(original.comparisons, 0u);
}

}  // namespace
