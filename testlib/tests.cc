#include "testlib/tests.h"

namespace testlib {
namespace {

// Left out of the line: 22 asks for a key at every structure, 30 needs a flash
// address, and Autosense has run what 41 and 42 run.
// clang-format off
constexpr TestRow kTests[] = {
    {0, u"Autosense", kInLine | kIpmi, 77'500},
    {1, u"System manufacturer", kInLine},
    {2, u"System product", kInLine},
    {3, u"System part number", kInLine},
    {4, u"System serial number", kInLine},
    {5, u"Board manufacturer", kInLine},
    {6, u"Board product", kInLine},
    {7, u"Board part number", kInLine},
    {8, u"Board serial number", kInLine},
    {9, u"Chassis manufacturer", kInLine},
    {10, u"Chassis type", kInLine},
    {11, u"Chassis part number", kInLine},
    {12, u"Chassis serial number", kInLine},
    {13, u"Chassis asset tag", kInLine},
    {14, u"System GUID", kInLine},
    {20, u"SMBIOS entry point", kInLine},
    {21, u"System information", kInLine},
    {22, u"SMBIOS structures, one by one", 0},
    {23, u"Base board information", kInLine},
    {24, u"BIOS information", kInLine},
    {25, u"Chassis information", kInLine},
    {26, u"Empty test", kInLine},
    {27, u"MAC addresses", kInLine},
    {28, u"GUID writing", kWrites},
    {29, u"GUID to shell variable", kInLine},
    {30, u"GUID in flash", 0},
    {31, u"System GUID variable", kWrites},
    {32, u"1394 GUID variable", kWrites},
    {33, u"1394 controller GUID", kInLine},
    {34, u"Manufacturing date", kInLine | kIpmi, 300},
    {35, u"BIOS identity", kInLine},
    {36, u"Memory devices", kInLine},
    {37, u"System event log", kInLine},
    {38, u"Board manufacturing date", kInLine | kIpmi, 3'900},
    {39, u"FRU board strings", kInLine | kIpmi, 13'200},
    {40, u"OEM BIOS string", kInLine},
    {41, u"Chassis board FRU records", kIpmi, 22'500},
    {42, u"Backplane FRU records", kIpmi, 39'000},
    {43, u"FRU end markers", kInLine | kIpmi, 7'800},
};
// clang-format on

}  // namespace

std::span<const TestRow> Tests() { return kTests; }

const TestRow* FindTest(std::uint32_t number) {
  for (const TestRow& test : kTests) {
    if (test.number == number) return &test;
  }
  return nullptr;
}

const char16_t* TitleOf(std::uint32_t number) {
  const TestRow* const test = FindTest(number);
  return test == nullptr ? u"-" : test->title;
}

}  // namespace testlib
