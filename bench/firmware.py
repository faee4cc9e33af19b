# SPDX-License-Identifier: BSD-2-Clause-Patent
"""The work of each test on OVMF, in instructions of the guest, with the mandated waits counted apart.

QEMU's icount mode lets the guest's clocks, the time stamp counter among them, advance by a fixed time for every
instruction. run_clock.efi reads that counter at StartImage and at the module's EndTest. The firmware's own work for the
module, console and disk included, is in the figure.
"""

import re
import sys
import tempfile
from collections import namedtuple
from pathlib import Path

from counts import BUILD

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "qemu"))

import controller  # noqa: E402
import test_table  # noqa: E402
from demonstration_server import SERVERS, unit_files  # noqa: E402
from machine import boot  # noqa: E402

controller.PROGRAM = BUILD / "bmc"

# QEMU's own controller answers at once, so that nothing depends on the host's
# speed; behind it there are no backplane controllers. It has 8 FRU devices.
_FRUS = {0, 2, 4, 5, 6, 7}
_AREA = 1024
# Autosense does more than ask the controller.
FRU_TESTS = tuple(test for test in test_table.IPMI if test != 0)
# The demonstration server keeps no GUID in a variable, for test 31, and has no
# 1394 controller, for tests 32 and 33.
_NOT_HERE = (31, 32, 33)
_WORDS = {22: ("--answer=S",), 30: ("FlashAddress=0xFFFF0000", "GuidOffsetInFlash=0xFFF0")}
_TESTS = {test: _WORDS.get(test, ()) for test in test_table.ALL if test not in _NOT_HERE}
_TIME_LIMIT = 600
_LINE = re.compile(r"CLOCK run (\d+) initialize (\d+) waits (\d+)")
_LINE_CLOCK = re.compile(r"CLOCK line (\d+) waits (\d+)")
_PASSED = re.compile(r"SUMMARY .*: PASS")
_VERDICT = re.compile(r'RESULT test (\d+) ".*": (\w+), .*')

Work = namedtuple("Work", "test verdict instructions initialize waits")


def _controller_options(folder):
    areas = []
    for device in range(max(_FRUS) + 1):
        file = Path(folder, "fru")
        file.write_bytes(b"")
        if device in _FRUS:
            controller.fru_image(ROOT / "simulation" / "server.machine", device, file)
        areas.append(file.read_bytes().ljust(_AREA, b"\xff"))
    frus = Path(folder, "frus")
    frus.write_bytes(b"".join(areas))
    return controller.emulated_options(frus, _AREA)


def _commands():
    for image in ("testlib", "ipmi_kcs", "manufacturing_interface", "run_clock"):
        yield f"load {image}.efi"
    # The first round fills the firmware's disk cache and the screen.
    for _ in range(2):
        for test, words in _TESTS.items():
            yield " ".join(("mfgtest.efi", str(test), *words))


def _works(lines, shift):
    verdict = ()
    for line in lines:
        if found := _VERDICT.fullmatch(line):
            verdict = found.groups()
        elif found := _LINE.fullmatch(line):
            run, initialize, waits = map(int, found.groups())
            yield Work(int(verdict[0]), verdict[1], run >> shift, initialize >> shift, waits)


def _boot(commands, shift, on_line):
    server = SERVERS["healthy"]
    images = {image.name: image.read_bytes() for image in (ROOT / "build" / "qemu").glob("*.efi")}
    with tempfile.TemporaryDirectory(prefix="mfgtest-bench-") as folder:
        return boot(
            server.smbios,
            {**unit_files(), **images},
            commands,
            _TIME_LIMIT,
            on_line,
            options=(
                *server.options,
                *_controller_options(folder),
                *("-icount", f"shift={shift},sleep=off", "-rtc", "clock=vm"),
            ),
            memory=server.memory,
        )


def measure(shift, on_line=lambda line: None):
    """One boot; gives the work of every test. An instruction takes 2 to the power of `shift` nanoseconds."""
    works = list(_works(_boot(_commands(), shift, on_line), shift))[-len(_TESTS) :]
    failed = [work for work in works if work.verdict != "PASS"]
    if [work.test for work in works] != list(_TESTS) or failed:
        raise OSError(f"not every test passed: {failed}")
    return works


def measure_line(shift, on_line=lambda line: None):
    """One boot; gives the instructions of a whole line under start.efi beyond its waits, and those in milliseconds."""
    lines = _boot(("load run_clock.efi", "start.efi"), shift, on_line)
    clocks = [found.groups() for line in lines if (found := _LINE_CLOCK.fullmatch(line))]
    if not clocks or not any(_PASSED.fullmatch(line) for line in lines):
        raise OSError("the line did not pass:\n" + "\n".join(lines[-40:]))
    nanoseconds, waits = map(int, clocks[-1])
    return (nanoseconds - waits * 1_000_000) >> shift, waits
