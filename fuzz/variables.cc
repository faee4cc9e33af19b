// SPDX-License-Identifier: BSD-2-Clause-Patent
// The firmware's variable store: names, sizes, data, and what it answers.
#include "fuzz/changes.h"
#include "fuzz/targets.h"

namespace fuzz {
namespace {

using simulation::Variable;

constexpr EFI_STATUS kStoreAnswers[] = {EFI_SUCCESS, EFI_NOT_FOUND, EFI_DEVICE_ERROR, EFI_SECURITY_VIOLATION,
                                        EFI_BUFFER_TOO_SMALL};

enum class StoreChange : std::uint8_t { kData, kName, kVendor, kReadStatus, kFirst, kRemoved, kFilled };
constexpr std::size_t kStoreChanges = 7;

std::u16string TakeText(Input& input, std::size_t length) {
  std::u16string text;
  for (; length > 0 && !input.Empty(); --length) {
    const char16_t c = input.Byte();
    text += c == 0 ? u'_' : c < 0x80 ? c : static_cast<char16_t>(c * 0x101);
  }
  return text;
}

void Apply(Input& input, std::vector<Variable>& variables) {
  const std::size_t place = input.Below(variables.size());
  Variable& variable = variables[place];
  const std::uint8_t kind = input.Byte();
  const std::size_t size = input.Byte();
  switch (static_cast<StoreChange>(kind % kStoreChanges)) {
    case StoreChange::kData:
      variable.data = input.Take(size);
      break;
    case StoreChange::kName:
      variable.name = TakeText(input, size);
      break;
    case StoreChange::kVendor:
      variable.vendor.Data1 ^= static_cast<std::uint32_t>(size);
      break;
    case StoreChange::kReadStatus:
      variable.read_status = kStoreAnswers[size % std::size(kStoreAnswers)];
      break;
    case StoreChange::kFirst:
      std::rotate(variables.begin(), variables.begin() + static_cast<std::ptrdiff_t>(place), variables.end());
      break;
    case StoreChange::kRemoved:
      variables.erase(variables.begin() + static_cast<std::ptrdiff_t>(place));
      break;
    case StoreChange::kFilled:
      variable.data.assign(size * 64, kind);
      variable.name.append(size * (kind >> 7), u'n');
      break;
  }
}

}  // namespace

void ChangeVariables(Input& input, HostileServer& server) {
  const std::uint8_t way = input.Byte();
  auto& store = server.station.machine.variables;
  store.never_ends = (way & 1) != 0;
  store.write_status = kStoreAnswers[(way >> 1) % std::size(kStoreAnswers)];
  // The names that the tests look for.
  if ((way & 0x10) != 0) server.station.library->parameters[u"System_Serial_Number"] = u"env=" + TakeText(input, 8);
  if ((way & 0x20) != 0) server.station.library->parameters[u"NicMacAddress"] = u"3";
  while (!input.Empty() && !store.variables.empty()) Apply(input, store.variables);
}

void FuzzVariables(Input input) { RunChanged(input, {4, 28, 31, 32, 33, 39, 0}, ChangeVariables); }

}  // namespace fuzz
