# SPDX-License-Identifier: BSD-2-Clause-Patent
"""The whole line run of the demonstration servers: every verdict, removal and result."""

import re

import test_table
from demonstration_server import CONFIGURATION, LINE, SERVERS, UNATTENDED, WRITING_LINE, trusted, unit_files
from guid_checks import FACTORY
from machine import SECURE
from record_checks import line_faults
from session import FAIL, NONE, PASS, SKIP, SUMMARY, Check, totals
from station import bootable

# The tests that a line runs behind Autosense when nobody says which.
_TESTS = tuple(number for number in test_table.IN_LINE if number != 0)
_ROW = re.compile(r"  +(\d+)  (\S.*?) {2,}([A-Z]+) +(\d+) +[0-9.]+")
_RESULT = re.compile(r'RESULT test (\d+) "(.*)": ([A-Z]+), (\d+) errors?, .*')
_REMOVAL = re.compile(r"  test (\d+) does not apply \(removed by test 0\): (.*)")
_PUBLISHED = re.compile(r"  (\S.*?) {2,}(.*\S) *")

_REMOVALS = {
    "31": "Autosense():: No Marwick product being identified, removing subtest 31.",
    "33": "Autosense():: Failed to get param: 1394_DEVICE_ID. 1394 controller not found, removing subtest 33.",
}
_WITHOUT_BACKPLANE = {"39": "Autosense():: Board area information is not programmed in FRU. Removing subtest 39."}

_IDENTITY = re.compile(r"(System|Board|Chassis)_.*")
_AS_EXPECTED = re.compile(r"(System_|Board_|Chassis_|Memory\d_|OEM_|BIOS_ID|SYS_BOARDS_).*")
_BACKPLANES = {
    f"SAS backplane {number}": ("Example Backplane", f"HSN-0000000{number + 4}", "BP-0008-AA") for number in (1, 2, 3)
}
_OTHER_FRUS = {
    "Power supply 1": ("Example Power", "PSN-0002", "PS-0750"),
    "Front panel": ("Example Panels", "FSN-0004", "FP-0004"),
}


# What is published under the names of parameters by a server with the three faults.
_FAULTY_RESULTS = {
    "System_Serial_Number": "SN-0000009",
    "SYS_BOARDS_MANUFACTURER_NAME": None,
    "SYS_BOARDS_PRODUCT_NAME": None,
    "SYS_BOARDS_SERIAL_NUMBER": None,
    "SYS_BOARDS_PART_NUMBER": None,
}


def _expected_results(changes, backplanes):
    """What Autosense publishes: of a machine as the parameter file wants it, but for the changes; None takes away."""
    lines = CONFIGURATION["mfgtest.cfg"].decode().splitlines()
    parameters = dict(re.split(r" *= *", line, maxsplit=1) for line in lines if line and not line.startswith("#"))
    results = {name: value for name, value in parameters.items() if _AS_EXPECTED.fullmatch(name)}
    results |= {"Chassis_Type": "1", **changes}
    results = {name: value for name, value in results.items() if value is not None}
    shown = {name.replace("_", " ").capitalize(): value for name, value in results.items() if _IDENTITY.fullmatch(name)}
    shown |= {"BIOS ID": results["BIOS_ID"], "DIMM A1": "4GB 1333", "DIMM B1": "4GB 1333", "DIMM B2": "Empty"}
    for name, values in {**_OTHER_FRUS, **backplanes}.items():
        shown |= zip((f"{name} Manufacture", f"{name} Serial Number", f"{name} Part Number"), values)
    return results | {f"display.cfg:{label}": value for label, value in shown.items()}


def _difference(what, seen, expected):
    return [
        f"{what} {key}: {seen.get(key)!r}, expected {expected.get(key)!r}"
        for key in sorted({*seen, *expected})
        if seen.get(key) != expected.get(key)
    ]


def _unwrapped(lines):
    """Removed tests on one line each: a console of 80 columns has them on several."""
    whole = []
    for line in lines:
        goes_on = line.startswith("  ") and not line.startswith(("  test ", "  bridge: "))
        if whole and goes_on and whole[-1].startswith("  test "):
            whole[-1] += " " + line.strip()
        else:
            whole.append(line)
    return whole


def _judge(results, removals, errors):
    """A judge of a run's output, summary included, for exactly these published results, removed tests and errors."""

    def judge(lines):
        start = max((at for at, line in enumerate(lines) if line == "Results:"), default=len(lines))
        summary = lines[start + 1 :]
        table = next((at for at, line in enumerate(summary) if line.startswith("  Test ")), len(summary))
        published = dict(match.groups() for line in summary[:table] if (match := _PUBLISHED.fullmatch(line)))
        removed = dict(match.groups() for line in _unwrapped(summary) if (match := _REMOVAL.fullmatch(line)))
        rows = [match.groups() for line in summary if (match := _ROW.fullmatch(line))]
        closing = [match.groups() for line in lines if (match := _RESULT.fullmatch(line))]
        reported = [line for line in lines if line.startswith("ERROR")]
        return [
            *_difference("result", published, results),
            *_difference("removal of test", removed, removals),
            *([] if rows == closing else [f"the table has {rows}, the closing lines {closing}"]),
            *([] if [int(row[0]) for row in rows] == [0, *_TESTS] else ["other tests ran than those of the list"]),
            *([] if reported == errors else [f"reported: {reported}"]),
        ]

    return judge


def _verdicts(exceptions, tests=_TESTS):
    """Of Autosense and the tests of the list."""
    return (*PASS, *(word for test in tests for word in exceptions.get(test, PASS)))


_HEALTHY_VERDICTS = _verdicts({33: SKIP})
_FAULTY_VERDICTS = _verdicts({4: FAIL, 33: SKIP, 37: FAIL, 39: FAIL})
_WRITING_VERDICTS = _verdicts({31: SKIP, 33: SKIP}, (*test_table.WRITING, *_TESTS))
_PASSED = f"SUMMARY {totals(_HEALTHY_VERDICTS)}, waits at 1 percent: PASS"


def _failures(lines):
    """What the last screen names, by its plain text on the serial port: the numbers of tests."""
    unit = max((at for at, line in enumerate(lines) if line.startswith("Unit ")), default=len(lines))
    return [int(match[1]) for line in lines[unit:] if (match := re.match(r"(\d+) ", line))]


_HEALTHY = _judge(_expected_results({}, _BACKPLANES), _REMOVALS, [])
_FAULTY = _judge(
    _expected_results(_FAULTY_RESULTS, {name: of for name, of in _BACKPLANES.items() if name != "SAS backplane 1"}),
    {**_REMOVALS, **_WITHOUT_BACKPLANE},
    [
        "ERROR 4: System_Serial_Number mismatched. ",
        "ERROR 29: System event log test failed. Log Data in HEX: 51403000201",
        "ERROR: test 39 has to apply to this machine: Required_Tests names it",
    ],
)

# Machines that boot from the stick by themselves; they have no shell that shows a variable.
_PASSES = Check(
    "with Secure Boot on, a signed stick that came over HTTP passes a healthy server",
    (),
    verdicts=_HEALTHY_VERDICTS + NONE,
    shows=("UEFI HTTPv4", "Secure Boot is on", _PASSED),
    judge=_HEALTHY,
)
_FAILS = Check(
    "a server with three faults ends with exactly those on its last screen",
    (),
    verdicts=_FAULTY_VERDICTS + NONE,
    shows=(
        '4 System serial number: System_Serial_Number mismatched. Exp: "SN-0000001" Rec:',
        "37 System event log: System event log test failed. Log Data in HEX: 51403000201",
        "Event type: Single-bit ECC memory error. Error source: Memory.",
        "39 FRU board strings: Autosense():: Board area information is not programmed in",
        f"SUMMARY {totals(_FAULTY_VERDICTS)}, waits at 1 percent: FAIL",
    ),
    judge=lambda lines: [
        *_FAULTY(lines),
        *([] if _failures(lines) == [4, 37, 39] else [f"the last screen names {_failures(lines)}"]),
    ],
)
_UNSIGNED = Check(
    "with Secure Boot on, a module that nobody signed is the station's fault",
    (),
    shows=(
        "mfgtest.efi is not loaded: Secure Boot is on, and it is not signed by a key",
        f"{len(_HEALTHY_VERDICTS)} not run: ERROR",
    ),
)

# What is typed at the shell of a healthy server.
_TYPED = (
    Check(
        "from the shell, with the drivers loaded before, the line passes",
        ("load testlib.efi", "load ipmi_kcs.efi", LINE, 'echo "the line: %MfgLineVerdict%"'),
        verdicts=_HEALTHY_VERDICTS,
        shows=(_PASSED, "the line: PASS"),
        hides=("already", "Already"),
        judge=_HEALTHY,
    ),
    Check(
        "asked to write, it writes a GUID that its test 14 reads back, and the EUI-64",
        (*WRITING_LINE, f"dmpstore Mfg1394Uuid -guid {FACTORY}"),
        verdicts=_WRITING_VERDICTS,
        shows=("Writing GUID. Please wait...", "00000000: 33 22 11 00 77 66 55 44", totals(_WRITING_VERDICTS)),
    ),
    Check(
        "asked to stop, another line ends at the first fault and counts alone",
        (f"{LINE} stop System_Serial_Number=SN-0000009", 'echo "the line: %MfgLineVerdict%"'),
        verdicts=4 * PASS + FAIL,
        shows=(f"SUMMARY {totals(4 * PASS + FAIL, len(_HEALTHY_VERDICTS) - 5)}", "the line: FAIL"),
    ),
    Check("help runs no line", ("line help",), shows=("Runs the line",), hides=("SUMMARY", "ERROR:")),
)


# Firmware that offers the newer tables and protocols only.
_NEWER = (
    Check(
        "newer firmware passes the same line run through our bridges",
        ("load newer_firmware.efi", "load firmware_ipmi.efi", LINE),
        verdicts=_HEALTHY_VERDICTS,
        shows=(
            "structures of ",
            "are offered with a 32-bit entry point",
            "ACPI: the XSDT is offered as RSDT",
            "Management controller through the firmware's IPMI protocol: IPMI 2.0",
            "  bridge: ACPI XSDT offered as RSDT",
            "  bridge: IPMI transport over the firmware's IPMI protocol",
            _PASSED,
        ),
        judge=_HEALTHY,
    ),
    Check(
        "controllers are connected from the shell",
        ("mfgtest.efi --connect",),
        shows=("All controllers are connected",),
    ),
)


class _Shown(Exception):
    """The line is over, and the machine stays as it is."""


def _until_summary(server, files):
    lines = []

    def see(line):
        lines.append(line)
        if SUMMARY.fullmatch(line):
            raise _Shown

    try:
        server.start(files, see, firmware=SECURE)
    except _Shown:
        pass
    return lines


def _start_partly_signed():
    files = unit_files(UNATTENDED)
    return _until_summary(SERVERS["healthy"], bootable({**trusted(files), "mfgtest.efi": files["mfgtest.efi"]}))


def _serial_number(value):
    limit = {"name": "System_Serial_Number", "type": "EQUAL", "value": "SN-0000001"}
    return {"name": "System_Serial_Number", "value": value, "validators": [limit]}


# A drive in memory is gone with the machine.
_SAYS_RECORD = UNATTENDED + b"Record_Console = yes\n"
_FOUND = {"4": ["string-mismatch"], "37": ["unexpected-event"], "39": ["required-test-removed"]}

# Each check with what boots the machine and gives all that it said, and with what
# judges its record.
START_BOOTS = (
    (
        _PASSES,
        lambda: SERVERS["healthy"].start_from_network(bootable(trusted(unit_files(_SAYS_RECORD))), firmware=SECURE),
        lambda content: line_faults(content, "PASS", {}, _serial_number("SN-0000001")),
    ),
    (
        _FAILS,
        lambda: SERVERS["faulty"].start(bootable(unit_files(UNATTENDED))),
        lambda content: line_faults(content, "FAIL", _FOUND, _serial_number("SN-0000009")),
    ),
    # What the order says of records is not read when no module can run.
    (_UNSIGNED, _start_partly_signed, None),
)

# The checks of machines at their shell, with what boots them and types commands.
TYPED_BOOTS = ((_TYPED, SERVERS["healthy"].run_line), (_NEWER, SERVERS["newer"].run_line))
