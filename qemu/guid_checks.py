# SPDX-License-Identifier: BSD-2-Clause-Patent
"""GUIDs, MAC addresses, flash and PCI registers on firmware's real services."""

import re

from machine import FIRMWARE
from session import FAIL, LOAD, PASS, Check, module
from station import ROOT, image_files

# QEMU writes the first three fields of a UUID into the table in little-endian
# order, the tests take the bytes as they lie there for network order: this is
# 12345678-9abc-11df-8abc-001122334455, of version 1, made in 2010.
_STORED_REVERSED = "78563412-bc9a-df11-8abc-001122334455"
_STORED = "12 34 56 78 9A BC 11 DF-8A BC 00 11 22 33 44 55"

_MACS = ("001122334455", "525400123456")

# The firmware puts the Simple Network protocol on each controller and on two
# handles of its own below it. GUIDs made at this time are in the factory's
# range of dates.
_HANDLES_A_CONTROLLER = 3
_OPTIONS = [
    *("-rtc", "base=2010-05-06T07:08:00"),
    *(
        word
        for number, mac in enumerate(_MACS)
        for word in (
            *("-netdev", f"user,id=n{number},restrict=on"),
            *("-device", f"virtio-net-pci,netdev=n{number},mac={':'.join(re.findall('..', mac))},romfile="),
        )
    ),
]

FACTORY = "EC87D643-EBA4-4BB5-A1E5-3F3E36B20DA9"
_OLD_SHELL = "47C7B224-C42A-11D2-8E57-00A0C969723B"

_FLASH_TOP = 0xFFFF0000
_RESET_VECTOR = ("FlashAddress=0xFFFF0000", "GuidOffsetInFlash=0xFFF0")
_ONBOARD = "VERIFY_MACADDR_AGAINST=MACADDR_ONBOARD"
_OF_TABLE = ("14", "READ_GUID_METHOD=SMBIOS")
_OF_FLASH = ("14", "READ_GUID_METHOD=FLASH", _ONBOARD)
_GIVEN = ("SPECIFY_A_GUID=YES", f"GUID_TO_WRITE={_STORED_REVERSED}")

_DISPLAY = ("1394_GUID_NAME=Mfg1394Uuid", "1394_VENDOR_ID=0x1234", "1394_DEVICE_ID=0x1111")


def _flash_line(address):
    """What test 30 shows of the firmware's own code, which ends at 4 GiB."""
    code = FIRMWARE.read_bytes()
    place = address - (2**32 - len(code))
    return f"Flash memory values at {address:08x}: {code[place:place + 16].hex(' ')}"


def _registers(high, low):
    """Puts an EUI-64 where a 1394 controller has it: here the display's frame buffer, just cleared and thus not drawn
    anew while the test runs."""
    return ("cls", f"mm C0000024 {high} -w 4 -mem -n", f"mm C0000028 {low} -w 4 -mem -n")


def _stored_as_shown(lines):
    """The bytes that test 31 read back are those that the shell's command shows."""
    shown = [line.removeprefix("MfgSystemUuid: ").split() for line in lines if line.startswith("MfgSystemUuid: ")]
    dumped = [re.findall("[0-9a-f]{2}", line.lower()[12:60]) for line in lines if line.startswith("  00000000: ")]
    return [] if shown == dumped and len(shown) == 1 else [f"shown {shown}, stored {dumped}"]


_FIRMWARE_START = 2**32 - FIRMWARE.stat().st_size

_FIRST_BOOT = (
    LOAD,
    Check(
        "test 27 shows every controller's MAC address",
        (module("27"),),
        verdicts=PASS,
        shows=tuple(
            f"MAC Address {number}: 0x{_MACS[number // _HANDLES_A_CONTROLLER]}"
            for number in range(_HANDLES_A_CONTROLLER * len(_MACS))
        ),
    ),
    Check(
        "test 14 takes the UUID's bytes as the shell shows them",
        ("smbiosview -t 1", module("--debug=2", *_OF_TABLE, _ONBOARD)),
        verdicts=PASS,
        shows=(f"00000000: {_STORED}", "SMBIOS: {12345678-9abc-11df-8abc-001122334455}"),
    ),
    Check(
        "test 29 sets a variable that the shell shows",
        (module("29"), module("29", "GUID_ENV_VARIABLE=SysGuid"), "set GUID", "set SysGuid"),
        verdicts=2 * PASS,
        shows=("GUID = 123456789abc11df8abc001122334455", "SysGuid = 123456789abc11df8abc001122334455"),
    ),
    Check(
        "test 30 shows the firmware's own flash",
        (module("30", f"FlashAddress={_FIRMWARE_START:#x}", "GuidOffsetInFlash=16"),),
        verdicts=PASS,
        shows=(_flash_line(_FIRMWARE_START + 16),),
    ),
    Check(
        "test 28 fails where nobody serves the flash, and leaves it alone",
        (
            module("28", *_GIVEN, *_RESET_VECTOR, "Allow_Top_Of_Flash=YES"),
            module("30", *_RESET_VECTOR),
        ),
        verdicts=FAIL + PASS,
        shows=("ERROR 22: Failed call to Smi", _flash_line(_FLASH_TOP + 0xFFF0)),
    ),
    Check(
        "a board's firmware with the manufacturing interface",
        ("load manufacturing_interface.efi",),
        shows=("Success",),
    ),
    Check(
        "test 28 writes a given GUID through the manufacturing interface, test 14 reads it back",
        (module("28", *_GIVEN), module("--debug=2", *_OF_FLASH)),
        verdicts=2 * PASS,
        shows=("Writing GUID. Please wait...", "FLASH: {12345678-9abc-11df-8abc-001122334455}"),
    ),
    Check(
        "test 28 builds and writes a new GUID, test 14 accepts it",
        (module("28", "RandomSeed=1"), module("--debug=2", *_OF_FLASH)),
        verdicts=2 * PASS,
        shows=("-30f6-11e0-8029-001122334455}",),
    ),
    Check(
        "test 31 stores a GUID that the shell shows",
        (
            module("--debug=8", "31", "MARWICK_GUID_NAME=MfgSystemUuid", "RandomSeed=1"),
            f"dmpstore MfgSystemUuid -guid {FACTORY}",
        ),
        verdicts=PASS,
        shows=(f"Variable NV+RT+BS '{FACTORY}:MfgSystemUuid' DataSize = 0x10", "-80 29 00 11 22 33 44 55"),
        judge=_stored_as_shown,
    ),
    Check(
        "test 32 stores the EUI-64 of the factory's variable",
        (
            f'setvar Mfg1394Uuid -guid {_OLD_SHELL} -bs -nv =L"0011223344556677"',
            module("32", "1394_GUID_NAME=Mfg1394Uuid"),
            f"dmpstore Mfg1394Uuid -guid {FACTORY}",
        ),
        verdicts=PASS,
        shows=("DataSize = 0x08", "00000000: 33 22 11 00 77 66 55 44"),
    ),
    Check(
        "test 33 finds the same EUI-64 in a device's registers",
        (*_registers("00112233", "44556677"), module("--debug=8", "33", *_DISPLAY)),
        verdicts=PASS,
        shows=("Bus: 0x0, Dev: 0x1, Func: 0x0", "BARAddress: 0xc0000008", "EUI64: 0x0011223344556677"),
    ),
    Check(
        "test 33 fails on another EUI-64",
        (*_registers("00112233", "44556678"), module("33", *_DISPLAY)),
        verdicts=FAIL,
        shows=("Expected: 0x0011223344556677 Received: 0x0011223344556678",),
    ),
)

_SECOND_BOOT = (
    LOAD,
    Check(
        "what tests 31 and 32 stored is there after power-off",
        (f"dmpstore MfgSystemUuid -guid {FACTORY}", f"dmpstore Mfg1394Uuid -guid {FACTORY}"),
        shows=("-80 29 00 11 22 33 44 55", "00000000: 33 22 11 00 77 66 55 44"),
    ),
    Check(
        "test 14 fails on the other controller's MAC address",
        (module(*_OF_TABLE, _ONBOARD, f"NIC_Index={_HANDLES_A_CONTROLLER}"),),
        verdicts=FAIL,
        shows=("Expected MAC: 001122334455 Received MAC: 00525400123456",),
    ),
)


def guid_boots(variables):
    """Two boots of a machine, as arguments of end_to_end.run; `variables` is the file that outlives the first."""
    driver = ROOT / "build" / "qemu" / "manufacturing_interface.efi"
    files = {**image_files(), driver.name: driver.read_bytes()}
    for checks in (_FIRST_BOOT, _SECOND_BOOT):
        yield {
            "smbios": (f"type=1,uuid={_STORED_REVERSED}",),
            "files": files,
            "checks": checks,
            "options": _OPTIONS,
            "variables": variables,
        }
