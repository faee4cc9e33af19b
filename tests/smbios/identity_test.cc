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

const Lines kSearchHead = {
    R"(DebugPrint 1 "GUID                                Variable Name        Value\n=================================== ==================== ========\n")"};

// What each kind of structure shows before its field is judged.
const std::map<char, Lines> kDisplays = {
    {'S',
     {R"(DebugPrint 1 "\nStructure Header:\nType: 0x1   Len: 0x1b   Handle: 0x100\nNumber of strings found:4\nManufacturer:ACME\nProduct Name:Rack Server\nSerial Number:SYS-SN\nVersion:SYS-PN\n")"}},
    {'B',
     {R"(DebugPrint 1 "\nStructure Header:\nType: 0x2   Len: 0xf   Handle: 0x200\nNumber of strings found:5\nManufacturer:Boards Inc\nProduct Name:Main Board\nSerial Number:BRD-SN\nVersion:BRD-PN\n")"}},
    {'C',
     {R"(DebugPrint 1 "\nStructure Header:\nType: 0x3   Len: 0x16   Handle: 0x300\nNumber of strings found:4\nManufacturer:Cases Ltd\nChassis Type:97\nSerial Number:CHS-SN\nVersion:CHS-PN\nAsset:CHS-TAG\n")"}},
};

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
  const char* bytes;
  const char* too_long;
  const char* unreadable;
  const char* no_variable;
  const char* mismatch;
};

const std::map<char, Texts> kTexts = {
    {'S',
     {" 64", R"(\nFailed to get param:{parameter}. \nBuffer too small, buffer size must < 32.\n)",
      R"(\nFailed to get param:{parameter}\n)", R"(\nEnviroment Variable GONE not found)",
      R"(\n{parameter} mismatched. \nExp: \"{wanted}\"\nRec: \"{found}\"\n)"}},
    {'B',
     {" 100", R"(\nFailed to get param:{parameter}. \nBuffer too small, buffer size must < 50.\n)",
      R"(\nFailed to get param:{parameter}\n)", R"(\nEnviroment Variable GONE not found\n)",
      R"(\n{parameter} mismatched. \nExp:\"{wanted}\"\nRec: \"{found}\"\n)"}},
    {'C',
     {" 100", R"(\nFailed to get param:{parameter}. \nBuffer too small, buffer size must < 50.\n)",
      R"(\nFailed to get param:{parameter}. \n)", R"(\nEnviroment Variable GONE not found)",
      R"(\n{parameter} mismatched. \nExp: \"{wanted}\"\nRec:\"{found}\"\n)"}},
};

std::string Replaced(std::string text, const std::string& mark, const std::string& by) {
  const std::size_t at = text.find(mark);
  return at == std::string::npos ? text : text.replace(at, mark.size(), by);
}

std::string Error(int code, const std::string& text) {
  return "ReportError " + std::to_string(code) + " \"" + text + "\"";
}

// Runs a test with its parameter set (unless the value is null) on a prepared
// station and compares the whole transcript.
template <class Prepare>
void ExpectRun(const Field& field, const char* value, const Lines& judgement, Prepare prepare) {
  Station station;
  station.smbios = ServerIdentity();
  if (value != nullptr) station.library->parameters[Widen(field.parameter)] = Widen(value);
  prepare(station);
  EXPECT_EQ(Merged(station.Run(field.test)), Merged(Joined({{"Initialize -> 0 test " + std::to_string(field.test)},
                                                            kDisplays.at(field.parameter[0]),
                                                            judgement,
                                                            {"EndTest"}})));
}

void ExpectRun(const Field& field, const char* value, const Lines& judgement) {
  ExpectRun(field, value, judgement, [](Station&) {});
}

TEST(Identity, EveryFieldPassesAndFailsInItsOwnWords) {
  for (const Field& field : kFields) {
    SCOPED_TRACE(field.parameter);
    const Texts& texts = kTexts.at(field.parameter[0]);
    const std::string ask = "GetParamString \"" + std::string(field.parameter) + "\"" + texts.bytes;
    const std::string programmed = field.programmed;
    const std::string too_long(std::stoul(texts.bytes) / 2, 'x');
    const auto complaint = [&](const char* text) { return Replaced(text, "{parameter}", field.parameter); };

    ExpectRun(field, field.programmed,
              {ask + " -> 0 \"" + programmed + "\"",
               Replaced(Replaced(R"(DebugPrint 1 "\ntestStr={value}  tmp={prefix}\n")", "{value}", programmed),
                        "{prefix}", programmed.substr(0, 4))});
    ExpectRun(field, "Zen",
              {ask + R"( -> 0 "Zen")", R"(DebugPrint 1 "\ntestStr=Zen  tmp=Zen\n")",
               Error(4, Replaced(Replaced(complaint(texts.mismatch), "{wanted}", "Zen"), "{found}", programmed))});
    ExpectRun(field, nullptr, {ask + " -> 1", Error(1, complaint(texts.unreadable))});
    ExpectRun(field, "Zen", {ask + " -> 5", Error(1, complaint(texts.unreadable))},
              [&](Station& station) { station.library->parameter_statuses[Widen(field.parameter)] = 5; });
    ExpectRun(field, too_long.c_str(), {ask + " -> 6", Error(1, complaint(texts.too_long))});
    ExpectRun(
        field, "env=MFG",
        Joined({{ask + R"( -> 0 "env=MFG")", R"(DebugPrint 1 "\ntestStr=env=MFG  tmp=env=\n")"},
                kSearchHead,
                {R"(DebugPrint 3 "\n158def5a-f656-419c-b027-7a3192c079d MFG                  )" + programmed + R"(\n")",
                 R"(DebugPrint 1 "\nMFG=)" + programmed + "\""}}),
        [&](Station& station) { station.machine.variables.Add(u"MFG", TextData(Widen(programmed))); });
    ExpectRun(field, "env=GONE",
              Joined({{ask + R"( -> 0 "env=GONE")", R"(DebugPrint 1 "\ntestStr=env=GONE  tmp=env=\n")"},
                      kSearchHead,
                      {Error(17, texts.no_variable)}}));
  }
}

TEST(Identity, AnIndexBeyondTheFieldsOnlyShows) {
  const struct {
    void (*verify)(std::uint32_t index);
    std::uint32_t index;
    char kind;
  } cases[] = {
      {mfgtest::VerifySystemString, 4, 'S'},
      {mfgtest::VerifyBoardString, 4, 'B'},
      {mfgtest::VerifyChassisString, 5, 'C'},
      {mfgtest::VerifySystemString, ~0u, 'S'},
  };
  for (const auto& c : cases) {
    Station station;
    station.smbios = ServerIdentity();
    station.Bind();
    c.verify(c.index);
    EXPECT_EQ(Merged(station.Transcript()), kDisplays.at(c.kind));
  }
}

TEST(Identity, TheWholeChassisTypeByteCounts) {
  const Field field = {10, "Chassis_Type", ""};
  const std::string ask = R"(GetParamNumber "Chassis_Type")";
  const struct {
    const char* value;
    Lines judgement;
  } cases[] = {
      {"0x97", {ask + " -> 0 0x97"}},
      {"151", {ask + " -> 0 0x97"}},
      {"0x17", {ask + " -> 0 0x17", Error(15, R"(\nChassis_Type mismatched. \nExp: \"17\"\nRec:\"97\"\n)")}},
      {"0x197", {ask + " -> 0 0x197", Error(15, R"(\nChassis_Type mismatched. \nExp: \"197\"\nRec:\"97\"\n)")}},
      {nullptr, {ask + " -> 1", Error(1, R"(\nFailed to get param:Chassis_Type \n)")}},
      {"rack", {ask + " -> 2", Error(1, R"(\nFailed to get param:Chassis_Type \n)")}},
  };
  for (const auto& c : cases) ExpectRun(field, c.value, c.judgement);
}

TEST(Identity, AMissingStructureIsReportedAsTheSystemStructure) {
  for (const std::uint32_t test : {1u, 5u, 9u, 10u}) {
    const std::string type = test == 1 ? "1" : test == 5 ? "2" : "3";
    Station station;
    station.smbios.Add(0, 0, {});
    EXPECT_EQ(station.Run(test), (Lines{"Initialize -> 0 test " + std::to_string(test),
                                        Error(3, R"(\nFailed to get SMBIOS System Structure.\nNo Structure Type )" +
                                                     type + R"(, Index 0, found.\n\n)"),
                                        "EndTest"}));
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

TEST(Identity, FieldsWithoutAStringAreShownBare) {
  Station station;
  station.smbios.Add(1, 1, {0, 2}, {"A"}).Add(2, 2, {0, 0, 0, 0}).Add(3, 3, {0, 1, 0, 0, 0});
  const std::pair<std::uint32_t, const char*> cases[] = {
      {1, R"(1\nManufacturer:\nProduct Name:\nSerial Number:\nVersion:\n")"},
      {5, R"(0\nManufacturer:\nProduct Name:\nSerial Number:\nVersion:\n")"},
      {9, R"(0\nManufacturer:\nChassis Type:1\nSerial Number:\nVersion:\nAsset:\n")"},
  };
  for (const auto& [test, fields] : cases) {
    const std::string shown = Merged(Only({"DebugPrint"}, station.Run(test))).at(0);
    EXPECT_TRUE(shown.ends_with(std::string("\\nNumber of strings found:") + fields)) << shown;
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

TEST(Identity, AVariableMayHoldMoreThanAParameter) {
  const std::string longest(127, 'x');
  Station station;
  station.smbios.Add(1, 1, {1}, {longest});
  station.library->parameters[u"System_Manufacturer"] = u"env=MFG";
  station.machine.variables.Add(u"MFG", TextData(Widen(longest)));
  EXPECT_EQ(Errors(station.Run(1)), Lines{});
}

TEST(Identity, AReferenceWithoutANameFindsNothing) {
  Station station;
  station.smbios = ServerIdentity();
  station.library->parameters[u"Board_Product"] = u"env=";
  EXPECT_EQ(Errors(station.Run(6)), Lines{Error(17, R"(\nEnviroment Variable  not found\n)")});
}

}  // namespace
