#include "testlib/test_titles.h"

namespace testlib {
namespace {

constexpr TestTitle kTitles[] = {
    {1, u"System manufacturer"},  {2, u"System product"}, {3, u"System part number"},   {4, u"System serial number"},
    {5, u"Board manufacturer"},   {6, u"Board product"},  {7, u"Board part number"},    {8, u"Board serial number"},
    {9, u"Chassis manufacturer"}, {10, u"Chassis type"},  {11, u"Chassis part number"}, {12, u"Chassis serial number"},
    {13, u"Chassis asset tag"},   {26, u"Empty test"},
};

}  // namespace

std::span<const TestTitle> TestTitles() { return kTitles; }

const char16_t* TitleOf(std::uint32_t test) {
  for (const TestTitle& entry : kTitles) {
    if (entry.number == test) return entry.title;
  }
  return u"-";
}

}  // namespace testlib
