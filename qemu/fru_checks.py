# SPDX-License-Identifier: BSD-2-Clause-Patent
"""FRU tests over a real KCS port: our management controller behind it, and QEMU's own."""

import tempfile

from controller import Controller, emulated_options, fru_image
from scenarios import read_scenario
from session import ERROR, FAIL, LOAD, PASS, Check, module
from station import ROOT, image_files

_FOLDER = ROOT / "tests" / "ipmi"
_SERVER = ROOT / "simulation" / "server.machine"

# The OEM query is unknown for the first test 39, its five attempts, and then
# names the second table. Backplane 2 is busy, then silent (which QEMU answers
# after 4 s) in the first test 42, has no serial number in the second one, and
# in the third one its controller leaves.
_SCRIPT = """
[script]
30 93 answer 00 0B after 5
0A 11 06 0E answer C0 times 1
0A 11 06 20 silence times 1
0A 11 06 2F answer D2 after 2 times 15
0A 11 06 2F hang-up after 2
"""

_TIME_LIMIT = 150

# Waits cut to a hundredth; the exchanges over the port take their own time.
_QUICK = "--delay-scale=1"


def _fru_test(number, *words):
    return module(str(number), _QUICK, *words)


def _board(*words):
    return _fru_test(39, "HSBP=0", *words)


_DRIVER = Check("the KCS driver finds the controller", ("load ipmi_kcs.efi",), shows=("I/O 0xca2", "IPMI 2.0"))

_CHECKS = (
    LOAD,
    Check(
        "without a transport test 34 says what is missing",
        (_fru_test(34, "MFG_DATE=2009/06/15"),),
        verdicts=ERROR,
        shows=("Failed to locate IPMI protocol. Make sure IPMI.EFI is loaded.", "  -> load ipmi_kcs.efi"),
    ),
    _DRIVER,
    Check("test 34 passes on the board's own date", (_fru_test(34, "MFG_DATE=2009/06/15"),), verdicts=PASS),
    Check(
        "test 34 fails on the day after",
        (_fru_test(34, "MFG_DATE=2009/06/16"),),
        verdicts=FAIL,
        shows=("Expected: > 0x6bfee0 Received: 0x6bf940.",),
    ),
    *(read_scenario(file)[1] for file in sorted(_FOLDER.glob("*.scenario"))),
    *(
        Check(
            f"test 38 judges the date along route {route}",
            tuple(
                _fru_test(38, f"SYS_BD_MFG_DATE={date}", "SYS_BD_FRU_ID=4", f"HSBP={route}", "--debug=16")
                for date in (last, day_after)
            ),
            verdicts=PASS + FAIL,
            shows=(f"Received: {minutes}.", traffic),
        )
        for route, last, day_after, minutes, traffic in (
            (0, "2009/06/01", "2009/06/02", "0x6baa80", "NetFn=0x0a, Cmd:0x11, ReqData:0x04 0b 00 03"),
            (1, "2009/06/10", "2009/06/11", "0x6bdd20", "rsSA=0xc0, NetFnLun=0x28, chksum1=0x18"),
            (2, "2009/06/11", "2009/06/12", "0x6be2c0", "rsSA=0xc2, NetFnLun=0x28, chksum1=0x16"),
        )
    ),
    Check(
        "test 39 compares with parameters and, by env=, with shell variables",
        (
            'set BoardProduct "Main Board"',
            _board(
                "SYS_BD_FRU_ID=0",
                "SYS_BOARDS_MANUFACTURER_NAME=Example Boards",
                "SYS_BOARDS_PRODUCT_NAME=env=boardproduct",
                "SYS_BOARDS_SERIAL_NUMBER=BSN-0000002",
                "SYS_BOARDS_PART_NUMBER=not compared",
            ),
        ),
        verdicts=PASS,
        shows=("Baseboard Product Name: Main Board",),
    ),
    Check(
        "test 39 takes the names of the second table from the OEM query",
        (_board("SYS_BD_FRU_ID=2", "SYS_BOARDS_PRODUCT_NAME=Another", "SYS_BOARDS_PART_NUMBER=x"),),
        verdicts=FAIL,
        shows=("Memory riser board A1 Product Name: Supply 750 W", 'Exp: "Another"', 'Rec: "Supply 750 W"'),
    ),
    Check(
        "test 41 shows the records of the boards that are there",
        (_fru_test(41),),
        verdicts=PASS,
        shows=("Power supply 1 Serial Number", "PSN-0002", "Front panel", "FSN-0004"),
        hides=("Power distribution", "Riser", "SAS backplane"),
    ),
    Check(
        "test 42 shows the backplanes' records, one of them busy and silent at first",
        (_fru_test(42, "--debug=1"),),
        verdicts=PASS,
        shows=("HSN-00000005", "HSN-00000006", "HSN-00000007", "Completion Code error c0", "Completion Code error c3"),
        # The transport's own attempts suffice.
        hides=(" retry 1",),
    ),
    Check(
        "test 43 finds the three markers",
        (_fru_test(43, "--debug=1"),),
        verdicts=PASS,
        shows=("chassis 1 Board 1 product 1",),
    ),
    Check(
        "a backplane that stops answering in the middle of test 42 is a clear failure",
        (_fru_test(42),),
        verdicts=FAIL,
        shows=("IPMI read FRU error.", "HSN-00000005"),
        hides=("HSN-00000006", "HSN-00000007"),
    ),
    # Kept: the module ends there without a report, so only the records that are
    # missing tell.
    Check(
        "a controller that leaves in the middle of test 42 ends it at once",
        (_fru_test(42), module("26")),
        verdicts=PASS + PASS,
        shows=("HSN-00000005",),
        hides=("HSN-00000006", "HSN-00000007"),
    ),
)

# What must have been on the wire, in this order.
_EXCHANGES = (
    "> 0A 11 00 03 00 01",
    "< 00 01 05",
    "> 0A 11 00 2B 00 03",
    "< 00 03 40 F9 6B",
    "> 06 34 00 C0 28 18 20 06 11 00 03 00 01 C5",
    "C0 > 0A 11 00 03 00 01",
    "C0 < 00 01 01",
    "> 06 33",
    "< 00 00 2E B2 C0 04 11 00 01 01 29",
    "> 06 34 00 C2 28 16 20 0E 11 00 0B 00 03 B3",
    "C2 < 00 03 C0 E2 6B",
    "< C0",
    "< silence",
    "< hang-up",
)

_EMULATED_CHECKS = (
    LOAD,
    _DRIVER,
    Check("test 34 passes on QEMU's own controller", (_fru_test(34, "MFG_DATE=2009/06/15"),), verdicts=PASS),
)


def fru_boots(run):
    """Runs the checks with `run`, one boot a controller; gives how many passed, and of how many."""
    with Controller(_SERVER.read_text(encoding="utf-8") + _SCRIPT, _TIME_LIMIT) as controller:
        yield run((), image_files(), _CHECKS, options=controller.options)
    yield _wire_result(controller)
    with tempfile.NamedTemporaryFile() as image:
        fru_image(_SERVER, 0, image.name)
        yield run((), image_files(), _EMULATED_CHECKS, options=emulated_options(image.name, 256))


def _wire_result(controller):
    lines = iter(controller.log)
    missing = [exchange for exchange in _EXCHANGES if exchange not in lines]
    faults = [f"not on the wire: {missing[0]}"] if missing else []
    faults += [controller.complaint] if controller.complaint else []
    print(f"{'FAILED' if faults else 'ok    '} the controller saw the requests byte by byte")
    for fault in faults:
        print(f"    {fault}")
    return int(not faults), 1
