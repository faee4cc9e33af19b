# SPDX-License-Identifier: BSD-2-Clause-Patent
"""End-to-end checks of the images on OVMF, one boot a machine: end_to_end.py [PART]..., the usual ones by default."""

import sys
import tempfile
import time
from pathlib import Path

from dump_checks import dump_checks
from fru_checks import fru_boots
from guid_checks import guid_boots
from line_checks import START_BOOTS, TYPED_BOOTS
from machine import EXAMPLE_SERVER, RECORDS, BootFailed, boot, smbios_options
from record_checks import faults as record_faults, from_serial
from scenarios import scenario_boots
from session import ERROR, FAIL, LOAD, NONE, PASS, SKIP, Check, Region, faults, module, regions, script, totals
from smbios_checks import SMBIOS_CHECKS, SMBIOS_CONSOLE, SMBIOS_MACHINE
from station import ROOT, image_files, stick_files

TIME_LIMIT = 150

SYSTEM, BOARD, CHASSIS = EXAMPLE_SERVER.values()

# Test number, its parameter and the value that the machine was given. QEMU's
# chassis type is always 1, "other".
IDENTITY = (
    (1, "System_Manufacturer", SYSTEM["manufacturer"]),
    (2, "System_Product", SYSTEM["product"]),
    (3, "System_Part_Number", SYSTEM["version"]),
    (4, "System_Serial_Number", SYSTEM["serial"]),
    (5, "Board_Manufacturer", BOARD["manufacturer"]),
    (6, "Board_Product", BOARD["product"]),
    (7, "Board_Part_Number", BOARD["version"]),
    (8, "Board_Serial_Number", BOARD["serial"]),
    (9, "Chassis_Manufacturer", CHASSIS["manufacturer"]),
    (10, "Chassis_Type", "0x1"),
    (11, "Chassis_Part_Number", CHASSIS["version"]),
    (12, "Chassis_Serial_Number", CHASSIS["serial"]),
    (13, "Chassis_Asset", CHASSIS["asset"]),
)


def identity_checks():
    for number, parameter, value in IDENTITY:
        yield Check(
            f"test {number} passes on {parameter} of the firmware's table, and fails on another",
            (module(str(number), f"{parameter}={value}"), module(str(number), f"{parameter}=2")),
            verdicts=PASS + FAIL,
            shows=(f"RESULT test {number} ", f"{parameter} mismatched."),
        )


# The default line on a machine with no more than an identity.
BARE_LINE = 14 * PASS + FAIL + 6 * PASS + FAIL + PASS + SKIP + 7 * FAIL + ERROR

FIRST = (
    *(
        Check(
            f"the shell explains the module before anything is loaded: {command}",
            (command,),
            shows=("mfgtest.efi [options] [TEST] [NAME=VALUE]...", "--summary "),
        )
        for command in ("help mfgtest", "mfgtest -?")
    ),
    Check(
        "started before the library, the module returns to the shell at once",
        (module("1"), "echo status %lasterror%"),
        shows=("status 0x3",),
    ),
    Check(
        "the stick starts the line run by itself; a machine with no more than an identity fails all the rest",
        ("stick.nsh",),
        verdicts=BARE_LINE,
        shows=("ERROR: ipmi_kcs is not loaded", f"SUMMARY {totals(BARE_LINE)}: FAIL"),
    ),
)

WITH_THE_LIBRARY = (
    Check("a second load is refused", ("load testlib.efi",), shows=("loaded already", "Already started")),
    Check(
        "after the refused load the first library still works",
        (module("26"),),
        verdicts=PASS,
    ),
    Check(
        "an unknown option runs nothing",
        (module("--no-such-option", "1"),),
        verdicts=ERROR,
        shows=("no-such-option",),
    ),
    Check(
        "a bad line in a parameter file is named",
        (module("-f", "bad.cfg", "1"),),
        verdicts=ERROR,
        shows=("bad.cfg line 3: ",),
    ),
    Check("mfgtest.cfg beside the module is read", (module("5"),), verdicts=PASS),
    Check("the command line wins over a file", (module("5", "Board_Manufacturer=Other"),), verdicts=FAIL),
    Check(
        "a parameter is no command",
        (module("29", "-f", "command.cfg"), "ls stolen.txt"),
        verdicts=ERROR,
        shows=("ERROR 20: Failed to Set Env Variable.", "File Not Found"),
    ),
    Check(
        "scripts branch on the verdict",
        (
            module("26"),
            'if "%MfgVerdict%" == "PASS" then',
            "  echo went the way of PASS",
            "else",
            "  echo went another way",
            "endif",
        ),
        verdicts=PASS,
        shows=("went the way of PASS",),
        hides=("another way",),
    ),
    Check(
        "a verdict does not outlive the next start",
        (module("26"), module("--list")),
        verdicts=PASS + NONE,
        shows=("System manufacturer",),
    ),
    Check(
        "show names each value's origin",
        (module("--show", "6", "Board_Product=X"),),
        shows=('  Board_Product = "X"  (command line)', "text of at most 49 characters, required"),
    ),
    Check(
        "summary tells the runs since the library was loaded",
        (module("--summary"),),
        shows=("Board manufacturer",),
    ),
)

FILES = {
    "stick.nsh": (ROOT / "station" / "startup.nsh").read_bytes(),
    "bad.cfg": b"# a comment\nSystem_Product = A\nthis is no parameter\n",
    "command.cfg": b'GUID_ENV_VARIABLE = a" > stolen.txt "\n',
}


def run(smbios, files, checks, **machine):
    """Runs the checks in one boot of such a machine."""
    return run_with(lambda commands: boot(smbios, files, commands, TIME_LIMIT, **machine), checks)


def run_with(boot_machine, checks):
    """Runs the checks in one boot and prints how each ended; gives how many passed, and of how many.

    The records of the boot count as one more check, and so does a machine that did not power off by itself.
    """
    RECORDS.clear()
    try:
        lines, stopped = boot_machine(script(checks)), 0
    except BootFailed as failure:
        print(f"FAILED: {failure}")
        lines, stopped = failure.lines, 1
    passed = sum(map(report, checks, regions(lines, len(checks)))) + report_records(lines)
    return passed, len(checks) + 1 + stopped


def report_records(lines, judge=lambda content: []):
    """Prints what became of the records of a boot; true when all is well."""
    found = [*RECORDS, *from_serial(lines)]
    complaints = record_faults(found, lines) + [fault for _, content in found for fault in judge(content)]
    print(f"{'FAILED' if complaints else 'ok    '} {len(found)} records tell what the machine said", flush=True)
    for complaint in complaints:
        print(f"    {complaint}")
    return not complaints


def report(check, region):
    """Prints how a check ended; true when it passed."""
    complaints = faults(check, region)
    print(f"{'FAILED' if complaints else 'ok    '} {check.name}", flush=True)
    for complaint in complaints:
        print(f"    {complaint}")
    if complaints and region:
        print("\n".join("    | " + line for line in region.lines))
    return not complaints


def run_alone(name, find_faults):
    """Runs a check that boots its machine itself; gives how many passed, and of how many."""
    try:
        complaints = find_faults()
    except BootFailed as failure:
        complaints = [str(failure)]
    print(f"{'FAILED' if complaints else 'ok    '} {name}", flush=True)
    for complaint in complaints:
        print(f"    {complaint}")
    return 0 if complaints else 1, 1


def identity():
    checks = (*FIRST, *identity_checks(), *WITH_THE_LIBRARY)
    yield run(smbios_options(EXAMPLE_SERVER), {**stick_files(), **FILES}, checks)


def scenarios():
    # A scenario gives all its parameters itself: no file beside the module.
    for smbios, checks in scenario_boots().items():
        yield run(smbios, image_files(), [LOAD, *checks])


def smbios():
    yield run(SMBIOS_MACHINE, image_files(), [LOAD, *SMBIOS_CHECKS], **SMBIOS_CONSOLE)


def fru():
    yield from fru_boots(run)


def guid():
    with tempfile.TemporaryDirectory(prefix="mfgtest-") as folder:
        for machine in guid_boots(Path(folder, "variables.fd")):
            yield run(**machine)


def line():
    for checks, boot_machine in TYPED_BOOTS:
        yield run_with(boot_machine, checks)


def start():
    for check, boot_machine, judge_record in START_BOOTS:
        RECORDS.clear()
        try:
            lines = boot_machine()
        except BootFailed as failure:
            print(f"FAILED: {failure}")
            lines = failure.lines
        yield report(check, Region(tuple(lines), "")), 1
        if judge_record:
            yield report_records(lines, judge_record), 1


def dump():
    for name, find_faults in dump_checks():
        yield run_alone(name, find_faults)


PARTS = {part.__name__: part for part in (identity, scenarios, smbios, fru, guid, line, start, dump)}
# What runs without a name; the rest takes too long for every change.
USUAL = tuple(name for name in PARTS if name != "dump")


def main(names):
    if unknown := set(names) - set(PARTS):
        print(f"end_to_end.py: no part {', '.join(sorted(unknown))}; there are {', '.join(PARTS)}")
        return 2
    started = time.monotonic()
    runs = [counts for name in names or USUAL for counts in PARTS[name]()]
    passed, total = map(sum, zip(*runs))
    print(f"{passed} passed, {total - passed} failed, {time.monotonic() - started:.0f} s")
    return 0 if passed == total else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
