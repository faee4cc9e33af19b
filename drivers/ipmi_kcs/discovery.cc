// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "drivers/ipmi_kcs/discovery.h"

#include <iterator>

#include "platform/byte_fields.h"
#include "platform/format.h"
#include "platform/smbios_table.h"

namespace ipmi_kcs {
namespace {

using platform::FirstSmbiosStructure;
using platform::NumberAt;

constexpr std::uint8_t kIpmiDeviceInformation = 38;

// Its fields.
constexpr std::size_t kInterfaceType = 0x04;
constexpr std::size_t kBaseAddress = 0x08;
constexpr std::size_t kModifier = 0x10;

constexpr std::uint64_t kKcs = 1;
constexpr std::uint64_t kInIoSpace = 1;
constexpr std::uint64_t kLowestAddressBit = 0x10;
constexpr std::uint8_t kSpacings[] = {1, 4, 16, 0};  // the last is reserved

// SSIF hangs on the SMBus, to which there is no port that a driver could drive
// beside the firmware.
const char16_t* InterfaceName(std::uint64_t type) {
  constexpr const char16_t* kNames[] = {u"unknown", u"KCS", u"SMIC", u"BT", u"SSIF"};
  return kNames[type < std::size(kNames) ? type : 0];
}

EFI_STATUS ReadRegisters(std::span<const std::uint8_t> structure, Registers* registers, ErrorText& error) {
  const std::uint64_t base = NumberAt(structure, kBaseAddress, 8);
  const std::uint64_t modifier = NumberAt(structure, kModifier, 1);
  const Registers found{
      (base & kInIoSpace) != 0 ? AddressSpace::kIo : AddressSpace::kMemory,
      kSpacings[modifier >> 6],
      (base & ~kInIoSpace) | ((modifier & kLowestAddressBit) != 0 ? 1 : 0),
  };
  if (!IsSpacing(found.spacing) || !AreInSpace(found)) {
    FormatText(error, "the controller's address in SMBIOS makes no sense: base 0x%lx, modifier 0x%02lx.", base,
               modifier);
    return EFI_NOT_FOUND;
  }
  *registers = found;
  return EFI_SUCCESS;
}

}  // namespace

std::span<const std::uint8_t> SmbiosTable() {
  platform::SmbiosEntryPoint entry;
  for (const EFI_GUID& guid : {platform::kSmbiosEntryPoint64Guid, platform::kSmbiosEntryPoint32Guid}) {
    if (platform::FindSmbiosEntryPoint(guid, &entry)) return entry.table;
  }
  return {};
}

EFI_STATUS FindRegisters(std::span<const std::uint8_t> table, Registers* registers, ErrorText& error) {
  FormatText(error, "the firmware's SMBIOS table describes no management controller (type 38).");
  EFI_STATUS status = EFI_NOT_FOUND;
  for (auto one = FirstSmbiosStructure(table); !one.formatted.empty() && one.Type() != platform::kEndOfSmbiosTable;
       one = FirstSmbiosStructure(table)) {
    table = table.subspan(one.whole.size());
    if (one.Type() != kIpmiDeviceInformation) continue;
    const std::uint64_t interface = NumberAt(one.formatted, kInterfaceType, 1);
    if (interface == kKcs) return ReadRegisters(one.formatted, registers, error);
    FormatText(error, "by SMBIOS the controller's interface is %s (type %lu), which is not supported; KCS (type 1) is.",
               InterfaceName(interface), interface);
    status = EFI_UNSUPPORTED;
  }
  return status;
}

}  // namespace ipmi_kcs
