# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Displays, memory devices, event log and firmware identity on one machine, whose table the shell shows too."""

import struct

from session import FAIL, PASS, Check, module
from smbios_structures import event_log, memory_array, memory_device

_UUID = "00112233-4455-6677-8899-aabbccddeeff"

# The display's frame buffer, where the firmware puts it: plain memory behind
# the root bridge. Its last quarter is far behind what the console draws.
_FRAME_BUFFER = 0xC0000000
_LOG = _FRAME_BUFFER + 0xC00000


# Size in MB, speed in MHz, locators; the last slot is empty.
_DEVICES = ((4096, 1333, "DIMM_A1", "NODE 1"), (8192, 1600, "DIMM_B1", "NODE 2"), (0, 0, "DIMM_B2", "NODE 2"))

SMBIOS_MACHINE = (
    "type=0,vendor=Example Firmware,version=R01.00 (x64),date=04/01/2014",
    f"type=1,manufacturer=Example Systems,product=Rack Server,version=RS2U-0042-A,serial=SN-0000001,uuid={_UUID}",
    "type=2,manufacturer=Example Boards,product=Main Board,version=MB-0007-C,serial=BSN-0000002",
    "type=3,manufacturer=Example Sheet Metal,version=CH-0019-B,serial=CSN-0000003,asset=Asset 4711",
    "type=11,value=first,value=BUILD 7",
    event_log(0xF00, _LOG, start=0x810),
    memory_array(0x1000, 1),
    memory_array(0x1001, 2),
    *(memory_device(0x1100 + number, *device) for number, device in enumerate(_DEVICES)),
)

# The only place where somebody types: Enter, another key, then s.
_TYPED = "(Enter ends the answer) "
SMBIOS_CONSOLE = {
    "options": ("-machine", "x-oem-table-id=EX-TBL 1"),
    "answers": ((_TYPED, "\r"), (_TYPED, "x\r"), (_TYPED, "s\r")),
}


def _values(lines):
    """What follows the first colon or equals sign, by what stands before it; numbers as such."""
    values = {}
    for line in lines:
        label, separator, value = line.partition(" = " if " = " in line else ":")
        if separator:
            values[label.strip()] = _value(value.strip())
    return values


def _value(text):
    try:
        return int(text, 0)
    except ValueError:
        return text


def _agrees(names):
    """A judge: what smbiosview shows under one name, the module shows under the other."""

    def judge(lines):
        start = next((at for at, line in enumerate(lines) if line.startswith("Test ")), 0)
        views, shown = _values(lines[:start]), _values(lines[start:])
        return [
            f"{ours} is {shown.get(ours)!r}, smbiosview's {theirs} {views.get(theirs)!r}"
            for theirs, ours in names.items()
            if theirs not in views or views[theirs] != shown.get(ours)
        ]

    return judge


# smbiosview's names and ours.
_ENTRY_POINT = {
    "Anchor String": "Anchor String",
    "EPS Checksum": "EPSChecksum",
    "Entry Point Len": "EPLength",
    "Max Struct size": "MaxStructSize",
    "Entry Point revision": "EPRevision",
    "Inter Anchor": "InterAnchorString",
    "Inter Checksum": "InterChecksum",
    "Table Length": "StructTableLen",
    "Table Address": "StructTableAddr",
    "Number of Structures": "NumStruct",
    "SMBIOS BCD Revision": "BCDRevision",
}
_PRODUCT = {
    "Manufacturer": "Manufacturer",
    "ProductName": "Product Name",
    "SerialNumber": "Serial Number",
    "Version": "Version",
}
_FIRMWARE = {"Vendor": "Vendor", "BiosVersion": "Version", "BiosReleaseDate": "Release Date"}
_CHASSIS = {
    "Manufacturer": "Manufacturer",
    "Type": "Type",
    "SerialNumber": "Serial Number",
    "Version": "Version",
    "AssetTag": "Asset Tag Number",
}


def _display(test, structure_type, names, *shows):
    return Check(
        f"test {test} shows what smbiosview shows",
        (f"smbiosview -t {structure_type}", module(str(test))),
        verdicts=PASS,
        shows=shows,
        judge=_agrees(names),
    )


def _browser(name, *words):
    """The first three structures, and no more."""
    return Check(
        name,
        (module("22", "--debug=1", *words),),
        verdicts=PASS,
        shows=tuple(f"Structure {number} Header:" for number in range(3)),
        hides=("Structure 3 Header:",),
    )


def _memory(name, verdicts, changes=(), shows=()):
    """Test 36 with what the devices have, but for the changes."""
    expected = {}
    for slot, values in enumerate(_DEVICES):
        fields = ("Size", "Speed", "DeviceLocator", "BankLocator")
        expected |= zip((f"Memory{slot}_{field}" for field in fields), values)
    expected |= dict(changes)
    words = (f"{parameter}={value}" for parameter, value in expected.items())
    return Check(name, (module("36", *words),), verdicts=verdicts, shows=shows)


def _record(event_type, source, error_type, subtype):
    return bytes((event_type, 16, 0x26, 0x11, 0x21, 0x07, 0x59, 0x01, source, error_type, subtype, 3, 0x14, 5, 0, 0))


_MEMORY_ERROR = _record(0x01, 1, 2, 0)
_MEMORY_ERROR_DATA = "51403000201"
_END = b"\xff" * 16


def _log(name, records, verdicts, *words, shows=()):
    """Test 37 on these records, written with the shell."""
    data = b"".join(records) + _END
    commands = [
        f"mm {_LOG + 0x10 + offset:X} {value:X} -w 8 -MMIO -n"
        for offset, (value,) in zip(range(0, len(data), 8), struct.iter_unpack("<Q", data))
    ]
    return Check(name, (*commands, module("37", "--debug=1", *words)), verdicts=verdicts, shows=shows)


SMBIOS_CHECKS = (
    _display(20, 127, _ENTRY_POINT, "MajorVersion: 0x2", "MinorVersion: 0x8"),
    _display(
        21,
        1,
        _PRODUCT,
        f"Human Readable GUID = {_UUID}",
        "Raw/Flash GUID = 33 22 11 00 55 44 77 66 88 99 aa bb cc dd ee ff ",
        "00000000: 33 22 11 00 55 44 77 66-88 99 AA BB CC DD EE FF",
    ),
    _display(23, 2, _PRODUCT),
    _display(24, 0, _FIRMWARE),
    _display(25, 3, _CHASSIS),
    _browser("test 22 takes answers given in advance", "-a", "", "-a", "x", "-a", "S"),
    _browser("test 22 is answered at the console"),
    Check("test 40 passes on the last OEM string", (module("40", "OEM_BIOS_String=BUILD 7"),), verdicts=PASS),
    Check(
        "test 40 fails on another",
        (module("40", "OEM_BIOS_String=first"),),
        verdicts=FAIL,
        shows=('Exp: "BUILD 7"', 'Rec: "first"'),
    ),
    Check(
        "test 35 passes on the firmware's version and the machine's OEM table ID",
        (module("35", "BIOS_ID=R01.00x64", "OEM_TABLE_ID=EXTBL1"),),
        verdicts=PASS,
    ),
    Check(
        "test 35 fails on another version",
        (module("35", "BIOS_ID=R01.01x64", "OEM_TABLE_ID=EXTBL1"),),
        verdicts=FAIL,
        shows=("BIOS ID check failed. Expected: R01.01x64 Received: R01.00x64",),
    ),
    _memory("test 36 passes on three devices in two arrays", PASS),
    _memory(
        "test 36 fails on another speed",
        FAIL,
        {"Memory1_Speed": 1601},
        ("DIMM_B1 memory speed test failed.", "Expected: 1601 MHz Received: 1600 MHz"),
    ),
    Check(
        "the frame buffer lies where the event log is",
        ("pci 00 01 00 -i",),
        shows=("00000010: " + struct.pack("<I", _FRAME_BUFFER | 8).hex(" ").upper(),),
    ),
    _log("test 37 passes on an empty log", (), PASS, shows=("No events log found.", "EventLogType Supported: 0x81")),
    _log(
        "test 37 passes on an expected event",
        (_MEMORY_ERROR,),
        PASS,
        f"Event_Mask_00={_MEMORY_ERROR_DATA}",
        shows=("Date: 26\\11\\21", "Time: 07:59:01", f"OEMData: {_MEMORY_ERROR_DATA}"),
    ),
    _log(
        "test 37 fails on a bus event behind an expected one",
        (_MEMORY_ERROR, _record(0x83, 2, 11, 9)),
        FAIL,
        f"Event_Mask_00={_MEMORY_ERROR_DATA}",
        shows=(
            "Event type: PCIE non fatal error. Error source: PCI.",
            "Error type: Legacy. Error subtype: PCIE_fatal ACS violation.",
            "Bus: 03 Device: 14 Function: 05",
        ),
    ),
)
