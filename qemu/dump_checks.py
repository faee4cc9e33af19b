# SPDX-License-Identifier: BSD-2-Clause-Patent
"""A machine's dump, replayed on the host: the same transcript and verdict for every test."""

import re
import subprocess
import tempfile
from itertools import zip_longest
from pathlib import Path

from demonstration_server import SERVERS
from drive import copy_folder
from session import transcript
from station import ROOT

# Every exchange of every test goes over the serial line.
_TIME_LIMIT = 400

_REPLAY = ROOT / "build" / "tools" / "replay"
_CONFIGURATION = ROOT / "qemu" / "demonstration" / "mfgtest.cfg"

# All but 22, which asks, and those that write: 28, 31 and 32.
_TESTS = (*range(0, 15), 20, 21, *range(23, 28), 29, 30, *range(33, 44))
_WORDS = ("--trace", "--delay-scale=0")
_RESULT = re.compile(r'RESULT test \d+ ".*": ([A-Z]+), (\d+) errors?, .*')
_STATUSES = {"PASS": 0, "FAIL": 1, "ERROR": 2, "SKIP": 3}

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
    faults = [] if tuple(runs) == _TESTS else [f"the machine ran {tuple(runs)}"]
    for test, lines in runs.items():
        if test == 0:
            continue
        # Autosense runs before, as on the machine: it removes tests.
        command = [_REPLAY, dump, str(test), *_WORDS, "--file", _CONFIGURATION]
        replayed = subprocess.run(command, capture_output=True, text=True)
        faults += _difference(test, lines, replayed)
    return faults


def _difference(test, lines, replayed):
    results = [match.groups() for line in lines if (match := _RESULT.fullmatch(line))]
    seen = [match.groups() for line in replayed.stdout.splitlines() if (match := _RESULT.fullmatch(line))]
    if seen != results:
        return [f"test {test}: {results} on the machine, {seen} replayed {replayed.stderr}"]
    if replayed.returncode != _STATUSES[seen[0][0]]:
        return [f"test {test}: status {replayed.returncode}"]
    pairs = zip_longest(transcript(lines), transcript(replayed.stdout.splitlines()), fillvalue="nothing")
    return [f"test {test}: on the machine {ours}\n    replayed {theirs}" for ours, theirs in pairs if ours != theirs][:3]


def _reader_faults(dump):
    """Other tools read the files."""
    faults = []
    table = subprocess.run(["dmidecode", "--from-dump", dump / "smbios.bin"], capture_output=True, text=True)
    if table.returncode or "Example Systems, Inc." not in table.stdout or "invalid" in table.stdout.lower():
        faults.append(f"dmidecode reads {table.stdout[:400]} {table.stderr}")
    return faults
