// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/record/unit.h"

#include <algorithm>

#include "platform/format.h"
#include "platform/smbios_table.h"
#include "testlib/parameter_table.h"
#include "testlib/text_part.h"

namespace testlib {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint8_t kFirmwareType = 0;
constexpr std::uint8_t kSystemType = 1;

// The strings that a structure's fields select (DSP0134).
constexpr std::size_t kFirmwareVersion = 0x05;
constexpr std::size_t kManufacturer = 0x04;
constexpr std::size_t kProduct = 0x05;
constexpr std::size_t kSerialNumber = 0x07;

// More than any firmware has; a table may state any size.
constexpr unsigned kMostStructures = 8192;

Bytes TakeString(Bytes& strings) {
  const auto end = std::ranges::find(strings, 0);
  const Bytes taken(strings.begin(), end);
  strings = Bytes(end == strings.end() ? end : end + 1, strings.end());
  return taken;
}

void CopyString(const platform::SmbiosStructure& structure, std::size_t field, UnitText& text) {
  if (text[0] != 0 || field >= structure.formatted.size()) return;
  Bytes strings = structure.whole.subspan(structure.formatted.size());
  Bytes found;
  for (unsigned number = structure.formatted[field]; number > 0; --number) found = TakeString(strings);
  std::size_t length = std::min(found.size(), text.size() - 1);
  while (length > 0 && found[length - 1] == ' ') --length;
  *std::copy_n(found.begin(), length, text.begin()) = 0;
}

void ReadStructure(const platform::SmbiosStructure& structure, MachineIdentity& machine) {
  if (structure.Type() == kFirmwareType) CopyString(structure, kFirmwareVersion, machine.firmware_version);
  if (structure.Type() != kSystemType) return;
  CopyString(structure, kManufacturer, machine.manufacturer);
  CopyString(structure, kProduct, machine.product);
  CopyString(structure, kSerialNumber, machine.serial_number);
}

}  // namespace

MachineIdentity ReadMachineIdentity() {
  MachineIdentity machine;
  platform::SmbiosEntryPoint entry;
  if (!FindSmbiosEntryPoint(platform::kSmbiosEntryPoint32Guid, &entry) &&
      !FindSmbiosEntryPoint(platform::kSmbiosEntryPoint64Guid, &entry)) {
    return machine;
  }
  for (unsigned count = 0; count < kMostStructures; ++count) {
    const platform::SmbiosStructure structure = platform::FirstSmbiosStructure(entry.table);
    if (structure.formatted.empty() || structure.Type() == platform::kEndOfSmbiosTable) break;
    ReadStructure(structure, machine);
    entry.table = entry.table.subspan(structure.whole.size());
  }
  return machine;
}

Unit IdentifyUnit(const ParameterStore& parameters, const MachineIdentity& machine, bool was_asked) {
  constexpr const char16_t* kParameter = u"System_Serial_Number";
  Unit unit;
  const Parameter* const given = Find(parameters, kParameter);
  const bool is_known =
      given != nullptr && !IsAsked(given->value.data()) && Resolve(given->value.data(), unit.expected);
  const bool is_of_unit = is_known && unit.expected[0] != 0 && (was_asked || NamesVariable(given->value.data()));
  if (is_of_unit) {
    unit.id = unit.expected;
    FormatText(unit.from, "%s (%.-64s)", kParameter, was_asked ? u"asked" : given->value.data());
  } else if (machine.serial_number[0] != 0) {
    std::ranges::copy(machine.serial_number, unit.id.begin());
    FormatText(unit.from, "SMBIOS");
  } else {
    FormatText(unit.id, "unit");
    FormatText(unit.from, "none");
  }
  return unit;
}

}  // namespace testlib
