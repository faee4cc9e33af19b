#include "module/catalogue.h"

#include <algorithm>

#include "smbios/identity.h"

namespace mfgtest {
namespace {

// Test 26 runs nothing: a station uses it to see the module start and end.
void RunNothing(std::uint32_t) {}

// clang-format off
constexpr CatalogueEntry kCatalogue[] = {
    {1, VerifySystemString, 0},
    {2, VerifySystemString, 1},
    {3, VerifySystemString, 2},
    {4, VerifySystemString, 3},
    {5, VerifyBoardString, 0},
    {6, VerifyBoardString, 1},
    {7, VerifyBoardString, 2},
    {8, VerifyBoardString, 3},
    {9, VerifyChassisString, 0},
    {10, VerifyChassisString, 1},
    {11, VerifyChassisString, 2},
    {12, VerifyChassisString, 3},
    {13, VerifyChassisString, 4},
    {26, RunNothing, 0},
};
// clang-format on

static_assert(std::ranges::adjacent_find(kCatalogue, std::ranges::greater_equal{}, &CatalogueEntry::number) ==
                  std::ranges::end(kCatalogue),
              "test numbers are unique and sorted");

}  // namespace

std::span<const CatalogueEntry> Catalogue() { return kCatalogue; }

const CatalogueEntry* FindTest(std::uint32_t number) {
  const auto* const found = std::ranges::lower_bound(kCatalogue, number, {}, &CatalogueEntry::number);
  return found != std::ranges::end(kCatalogue) && found->number == number ? found : nullptr;
}

}  // namespace mfgtest
