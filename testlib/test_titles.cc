#include "testlib/test_titles.h"

namespace testlib {
namespace {

// clang-format off
constexpr TestTitle kTitles[] = {
    {0, u"Autosense"},
    {1, u"System manufacturer"},
    {2, u"System product"},
    {3, u"System part number"},
    {4, u"System serial number"},
    {5, u"Board manufacturer"},
    {6, u"Board product"},
    {7, u"Board part number"},
    {8, u"Board serial number"},
    {9, u"Chassis manufacturer"},
    {10, u"Chassis type"},
    {11, u"Chassis part number"},
    {12, u"Chassis serial number"},
    {13, u"Chassis asset tag"},
    {14, u"System GUID"},
    {20, u"SMBIOS entry point"},
    {21, u"System information"},
    {22, u"SMBIOS structures, one by one"},
    {23, u"Base board information"},
    {24, u"BIOS information"},
    {25, u"Chassis information"},
    {26, u"Empty test"},
    {27, u"MAC addresses"},
    {28, u"GUID writing"},
    {29, u"GUID to shell variable"},
    {30, u"GUID in flash"},
    {31, u"System GUID variable"},
    {32, u"1394 GUID variable"},
    {33, u"1394 controller GUID"},
    {34, u"Manufacturing date"},
    {35, u"BIOS identity"},
    {36, u"Memory devices"},
    {37, u"System event log"},
    {38, u"Board manufacturing date"},
    {39, u"FRU board strings"},
    {40, u"OEM BIOS string"},
    {41, u"Chassis board FRU records"},
    {42, u"Backplane FRU records"},
    {43, u"FRU end markers"},
};
// clang-format on

}  // namespace

std::span<const TestTitle> TestTitles() { return kTitles; }

const char16_t* TitleOf(std::uint32_t test) {
  for (const TestTitle& entry : kTitles) {
    if (entry.number == test) return entry.title;
  }
  return u"-";
}

}  // namespace testlib
