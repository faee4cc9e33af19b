# SPDX-License-Identifier: BSD-2-Clause-Patent
"""One boot that runs many checks: each one's commands, output and verdict."""

import re
from collections.abc import Callable
from dataclasses import dataclass
from itertools import zip_longest

from shell import quote

# The verdicts of starts of the module.
PASS, FAIL, ERROR, SKIP, NONE = ("PASS",), ("FAIL",), ("ERROR",), ("SKIP",), ("",)

_BEGIN = "<<begin {}>>"
_END = re.compile(r"<<end (\d+) verdict=(\w*)>>")
_RESULT = re.compile(r'RESULT test (\d+|-) "(.*)": (\w+), (\d+) errors?, ([0-9.]+) s(?:, .*)?')


def totals(verdicts, not_run=0):
    """What the last line of a line run says of these verdicts."""
    words = ((PASS, "passed"), (FAIL, "failed"), (ERROR, "errors"), (SKIP, "skipped"))
    counted = [f"{verdicts.count(verdict)} {word}" for (verdict,), word in words]
    return ", ".join(counted + ([f"{not_run} not run"] if not_run else []))


# The last line of a line run.
SUMMARY = re.compile(r"SUMMARY .*: (?P<verdict>PASS|FAIL|ERROR)")


@dataclass(frozen=True)
class Check:
    """What an operator or a script does, and what has to be seen then."""

    name: str
    commands: tuple
    # What each start of the module has to end with: its closing line says it,
    # and the shell variable holds the last one. "" is a start that runs no
    # test: it has no closing line, and leaves the variable empty.
    verdicts: tuple = ()
    shows: tuple = ()
    hides: tuple = ()
    # The library's operations, where the run is traced.
    transcript: tuple = ()
    # Gives further complaints about the lines.
    judge: Callable = lambda lines: []


@dataclass(frozen=True)
class Region:
    """What the console said between a check's markers."""

    lines: tuple
    verdict: str


# The option of a run that writes a record, in the folder of the line's.
RECORDED = "--record=results\\"

LOAD = Check("the library loads", ("load testlib.efi",), shows=("is loaded", "Success"))


def module(*words):
    """The command that starts the module."""
    return " ".join(["mfgtest.efi", quote(RECORDED), *map(quote, words)])


def script(checks):
    """The commands of all checks, each between markers that carry its number."""
    commands = []
    for number, check in enumerate(checks):
        commands += [
            "set -v -d MfgVerdict",
            f'echo "{_BEGIN.format(number)}"',
            *check.commands,
            f'echo "<<end {number} verdict=%MfgVerdict%>>"',
        ]
    return commands


def regions(lines, count):
    """The region of each check; None where the machine did not get through it."""
    found = [None] * count
    begin = 0
    for index, line in enumerate(lines):
        if end := _END.fullmatch(line):
            number = int(end[1])
            if _BEGIN.format(number) in lines[begin:index]:
                begin = lines.index(_BEGIN.format(number), begin) + 1
                found[number] = Region(tuple(lines[begin:index]), end[2])
            begin = index
    return found


def faults(check, region):
    """What differs from what the check asks for."""
    if region is None:
        return ["the machine did not get to its end"]
    text = "\n".join(region.lines)
    found = [f"does not show: {wanted}" for wanted in check.shows if wanted not in text]
    found += [f"shows: {unwanted}" for unwanted in check.hides if unwanted in text]
    found += check.judge(region.lines)
    found += _verdict_faults(check, region)
    if check.transcript and (traced := transcript(region.lines)) != check.transcript:
        found.append("the transcript differs:\n" + _difference(check.transcript, traced))
    return found


def transcript(lines):
    """The library's operations as --trace shows them, joined from their pieces."""
    operations = []
    for line in lines:
        if line.startswith("@ "):
            operations.append(line[2:])
        elif line.startswith("@+") and operations:
            operations[-1] += line[2:]
    return tuple(operations)


def _verdict_faults(check, region):
    found = []
    last = check.verdicts[-1] if check.verdicts else ""
    if region.verdict != last:
        found.append(f"MfgVerdict is '{region.verdict}', not '{last}'")
    results = [match for line in region.lines if (match := _RESULT.fullmatch(line))]
    verdicts = [match[3] for match in results]
    expected = [verdict for verdict in check.verdicts if verdict]
    if verdicts != expected:
        found.append(f"closing lines say {verdicts}, not {expected}")
    if any(match[3] == "PASS" and match[4] != "0" for match in results):
        found.append("a PASS with errors")
    return found


def _difference(expected, traced):
    """The first operation that differs."""
    for wanted, seen in zip_longest(expected, traced, fillvalue="nothing"):
        if wanted != seen:
            return f"      expected {wanted}\n      traced   {seen}"
    return ""
