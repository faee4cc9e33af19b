// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/collation.h"

#include <array>

#include "simulation/fault.h"
#include "simulation/injection.h"

namespace simulation {
namespace {

constexpr std::array kNames = {"StriColl", "MetaiMatch", "StrLwr", "StrUpr", "FatToStr", "StrToFat"};
static_assert(kNamesEverySlot<kNames, offsetof(UnicodeCollation, SupportedLanguages)>);

// ASCII and Latin-1.
char16_t Upper(char16_t c) {
  const bool has_upper_case = (c >= u'a' && c <= u'z') || (c >= 0xE0 && c <= 0xFE && c != 0xF7);
  return has_upper_case ? static_cast<char16_t>(c - 0x20) : c;
}

// A collation that fails takes no texts for equal.
INTN EFIAPI StriColl(UnicodeCollation* self, const char16_t* a, const char16_t* b) {
  if (Fails("StriColl", {EFI_UNSUPPORTED})) return 1;
  ++static_cast<Collation*>(self)->comparisons;
  while (*a != 0 && Upper(*a) == Upper(*b)) ++a, ++b;
  return Upper(*a) - Upper(*b);
}

void EFIAPI StrUpr(UnicodeCollation*, char16_t* text) {
  for (; *text != 0; ++text) *text = Upper(*text);
}

}  // namespace

Collation::Collation(Machine& machine, const EFI_GUID& protocol)
    : UnicodeCollation{}, machine_(machine), protocol_(protocol) {
  UnicodeCollation* const table = this;
  FillWithRefusals<kNames>(table);
  table->StriColl = simulation::StriColl;
  table->StrUpr = simulation::StrUpr;
  table->SupportedLanguages = "en";
  handle_ = machine.handles.Install(protocol, table);
}

Collation::~Collation() { machine_.handles.Uninstall(handle_, protocol_, static_cast<UnicodeCollation*>(this)); }

}  // namespace simulation
