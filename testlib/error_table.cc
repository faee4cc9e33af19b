#include "testlib/error_table.h"

namespace testlib {
namespace {

using enum Blame;

// Advice stands behind "  -> " and fits a console of 80 columns.
// clang-format off
constexpr ErrorRow kTable[] = {
    {0, nullptr, kStation, u"invalid-test-number", u"--list shows the tests"},
    {1, u"NV Variable not found", kUnit, u"nv-variable-missing", u"the variable is gone right after it was written: check the flash"},
    {1, nullptr, kStation, u"parameter-unreadable", u"give it in mfgtest.cfg or as NAME=VALUE; TEST --show tells the limits"},
    {2, nullptr, kUnit, u"smbios-entry-point-missing", u"the firmware offers no SMBIOS table: check the BIOS"},
    {3, nullptr, kUnit, u"smbios-structure-missing", u"the firmware's SMBIOS table is incomplete: check the BIOS"},
    {4, nullptr, kUnit, u"string-mismatch", u"program the unit, or correct the order's data"},
    {5, nullptr, kUnit, u"smbios-table-address-null", u"the SMBIOS entry point leads nowhere: check the BIOS"},
    {6, nullptr, kUnit, u"network-controller-unreadable", u"check the network controller and its UEFI driver"},
    {7, u"Invalid Vendor ID", kStation, u"pci-id-invalid", u"give the controller's PCI IDs; they cannot both be 0"},
    {7, nullptr, kUnit, u"device-or-value-mismatch", u"check the controller (MAC address, EUI-64), or the order's data"},
    {8, nullptr, kUnit, u"guid-date-out-of-range", u"program the system GUID anew"},
    {10, nullptr, kUnit, u"guid-version-wrong", u"program the system GUID anew"},
    {11, nullptr, kUnit, u"guid-write-failed", u"the firmware refused the GUID: check BIOS and flash protection"},
    {12, nullptr, kUnit, u"guid-not-built", u"needs a network controller (NIC_Index) and a clock: see test 27"},
    {14, nullptr, kUnit, u"guid-variant-wrong", u"program the system GUID anew"},
    {15, nullptr, kUnit, u"chassis-type-mismatch", u"program the unit, or correct the order's data"},
    {16, nullptr, kUnit, u"out-of-memory", u"restart the machine and repeat; then check its memory"},
    {17, nullptr, kStation, u"shell-variable-missing", u"set the variable before the run: set -v NAME VALUE"},
    {18, nullptr, kUnit, u"flash-read-failed", u"check FlashAddress and the firmware's flash service"},
    {19, nullptr, kStation, u"guid-text-invalid", u"GUID_TO_WRITE has 36 characters: 12345678-9abc-11df-8abc-001122334455"},
    {20, u"Failed to Set Env Variable", kStation, u"shell-variable-not-set", u"check GUID_ENV_VARIABLE: no quotation marks; is the store full?"},
    {20, nullptr, kUnit, u"variable-not-set", u"the firmware refused the variable: is its variable store full?"},
    {22, nullptr, kUnit, u"flash-request-failed", u"the flash service failed: check FlashAddress and flash protection"},
    {23, u"Failed to locate IPMI protocol", kStation, u"ipmi-transport-missing", u"load ipmi_kcs.efi, then start the test again"},
    {23, nullptr, kUnit, u"ipmi-fru-unavailable", u"the controller does not serve this FRU: check it and its cables"},
    {24, nullptr, kStation, u"expected-date-invalid", u"give the expected date as year/month/day, such as 2009/06/15"},
    {25, nullptr, kUnit, u"manufacturing-date-wrong", u"program the FRU's date, or correct the order's data"},
    {26, nullptr, kUnit, u"firmware-id-missing", u"flash the order's BIOS: SMBIOS type 0 or the ACPI RSDT has no ID"},
    {27, nullptr, kUnit, u"firmware-id-mismatch", u"flash the order's BIOS, or correct the order's data"},
    {28, nullptr, kUnit, u"memory-device-mismatch", u"check the memory module in that slot, or correct the order's data"},
    {29, nullptr, kUnit, u"unexpected-event", u"find the cause; an expected event goes into Event_Mask_00 and on"},
    {30, nullptr, kUnit, u"board-area-not-programmed", u"program the FRU"},
    {31, nullptr, kUnit, u"end-marker-missing", u"program FRU 0 anew: an area has no end-of-fields marker"},
    {48, nullptr, kUnit, u"fru-read-failed", u"check the board, its cables and the backplane's controller"},
};
// clang-format on

}  // namespace

std::span<const ErrorRow> ErrorTable() { return kTable; }

const ErrorRow* FindError(std::uint64_t code, std::u16string_view format) {
  for (const ErrorRow& row : kTable) {
    if (row.code == code && (row.format == nullptr || format.find(row.format) != format.npos)) return &row;
  }
  return nullptr;
}

}  // namespace testlib
