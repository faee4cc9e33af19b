# SPDX-License-Identifier: BSD-2-Clause-Patent
"""A machine's dump, replayed on the host: the same transcript and verdict for every test."""

import re
import struct
import subprocess
import tempfile
from itertools import zip_longest
from pathlib import Path

import test_table
from controller import fru_image
from demonstration_server import SERVERS
from drive import copy_folder
from session import transcript
from station import ROOT

# Every exchange of every test goes over the serial line.
_TIME_LIMIT = 400

_REPLAY = ROOT / "build" / "tools" / "replay"
_CONFIGURATION = ROOT / "qemu" / "demonstration" / "mfgtest.cfg"

# All but 22, which asks, and those that write.
_TESTS = tuple(number for number in test_table.ALL if number != 22 and number not in test_table.WRITING)
_WORDS = ("--trace", "--delay-scale=0")
_RESULT = re.compile(r'RESULT test (\d+) ".*": ([A-Z]+), (\d+) errors?, ')

_SCRIPT = "\r\n".join(
    [
        "@echo -off",
        "dump.efi",
        f"for %t in {' '.join(map(str, _TESTS))}",
        '  echo "<<test %t>>"',
        f"  mfgtest.efi %t {' '.join(_WORDS)}",
        "endfor",
        'echo "<<end>>"',
        "",
    ]
).encode("utf-16")


def dump_checks():
    """For each server, its name and a function that gives what is wrong with its dump."""
    for name, server in SERVERS.items():
        yield f"the dump of the {name} server, replayed", lambda server=server: _faults(server)


def _faults(server):
    with tempfile.TemporaryDirectory(prefix="mfgtest-dump-") as folder:
        lines = server.run_line(
            ["load testlib.efi", "load ipmi_kcs.efi", "replayed.nsh"],
            files={"replayed.nsh": _SCRIPT},
            on_off=lambda drive: copy_folder(drive, "dump", folder),
            time_limit=_TIME_LIMIT,
        )
        dumps = [file.parent for file in Path(folder).rglob("machine.json")]
        if len(dumps) != 1:
            return [f"{len(dumps)} dumps are on the drive", *lines]
        return [*_replay_faults(dumps[0], _runs(lines)), *_reader_faults(dumps[0])]


def _runs(lines):
    """What each test said on the machine, by its number."""
    runs, current = {}, None
    for line in lines:
        if marker := re.fullmatch(r"<<(?:test (\d+)|end)>>", line):
            current = runs.setdefault(int(marker[1]), []) if marker[1] else None
        elif current is not None:
            current.append(line)
    return runs


def _replay_faults(dump, runs):
    """Autosense takes tests out of a line, so all of them run in one."""
    if tuple(runs) != _TESTS:
        return [f"the machine ran {tuple(runs)}"]
    line = f"Line_Tests={' '.join(map(str, _TESTS))}"
    command = [_REPLAY, dump, "line", *_WORDS, "--file", _CONFIGURATION, line]
    replayed = subprocess.run(command, capture_output=True, text=True)
    again = _runs_by_result(replayed.stdout.splitlines())
    if tuple(again) != _TESTS:
        return [f"replay ran {tuple(again)}: {replayed.stdout[-2000:]} {replayed.stderr}"]
    verdicts = {_result(lines)[0] for lines in runs.values()}
    status = 1 if "FAIL" in verdicts else 2 if "ERROR" in verdicts else 0
    faults = [] if replayed.returncode == status else [f"status {replayed.returncode} of {verdicts}"]
    for test, lines in runs.items():
        faults += _difference(test, lines, again[test])
    return faults


def _runs_by_result(lines):
    """What each test said in a replayed line, by its number."""
    runs, current = {}, []
    for line in lines:
        current.append(line)
        if match := _RESULT.match(line):
            runs[int(match[1])] = current
            current = []
    return runs


def _result(lines):
    return next((match.group(2, 3) for line in lines if (match := _RESULT.match(line))), ("none", "0"))


def _difference(test, lines, again):
    if _result(again) != _result(lines):
        return [f"test {test}: {_result(lines)} on the machine, {_result(again)} replayed"]
    pairs = zip_longest(transcript(lines), transcript(again), fillvalue="nothing")
    differing = [(ours, theirs) for ours, theirs in pairs if ours != theirs]
    return [f"test {test}: on the machine {ours}\n    replayed {theirs}" for ours, theirs in differing[:3]]


def _reader_faults(dump):
    """Other tools read the dump's files, and replay theirs."""
    table = _read("dmidecode", "--from-dump", dump / "smbios.bin")
    functions = _read("lspci", "-F", dump / "pci.txt")
    fru_image(ROOT / "simulation" / "server.machine", 0, dump / "image.bin")
    same = (dump / "image.bin").read_bytes() == (dump / "fru-0.bin").read_bytes()
    product = ("2", "System_Product=Rack Server 2U")
    again = [_read(_REPLAY, "--smbios", path, *product) for path in _files_of_others(dump)]
    return [
        *([] if "Product Name: Rack Server 2U" in table and "WRONG" not in table else [f"dmidecode reads: {table}"]),
        *([] if "00:00.0" in functions else [f"lspci reads: {functions}"]),
        *([] if same else ["fru-0.bin is not what ipmitool reads"]),
        *(f"replay: {text}" for text in again if ": PASS" not in text),
    ]


def _files_of_others(dump):
    """The table as dmidecode dumps it from a machine's memory, and as the kernel shows it."""
    file = (dump / "smbios.bin").read_bytes()
    entry, table = bytearray(file[:0x1F]), file[0x20:]
    struct.pack_into("<I", entry, 0x18, 0xE0000)
    for checksum, start in ((0x15, 0x10), (0x04, 0)):
        entry[checksum] = 0
        entry[checksum] = -sum(entry[start:]) & 0xFF
    memory = bytearray(0x100000)
    memory[0xF0000 : 0xF0000 + len(entry)] = entry
    memory[0xE0000 : 0xE0000 + len(table)] = table
    (dump / "memory").write_bytes(memory)
    _read("dmidecode", "--no-sysfs", "--dev-mem", dump / "memory", "--dump-bin", dump / "theirs.bin")
    kernel = dump / "kernel"
    kernel.mkdir(exist_ok=True)
    (kernel / "smbios_entry_point").write_bytes(entry)
    (kernel / "DMI").write_bytes(table)
    return dump / "theirs.bin", kernel


def _read(*command):
    done = subprocess.run(command, capture_output=True, text=True)
    return done.stdout + done.stderr
