# SPDX-License-Identifier: BSD-2-Clause-Patent
"""The records of a boot: each is valid, and together they tell of each run what its closing line tells."""

import re
from collections import Counter

import records

_RESULT = re.compile(r'RESULT test (\d+|-) ".*": ([A-Z]+), .*')
_SERIAL = "@MFG "


def from_serial(lines):
    """The record between the lines of a serial port."""
    text = "".join(line[len(_SERIAL) :] + "\n" for line in lines if line.startswith(_SERIAL))
    return [("the serial port", text.encode())] if text else []


def faults(found, lines):
    """What is wrong with the records that a boot left, which said these lines."""
    complaints = [] if found else ["there is no record"]
    told = Counter()
    for name, content in found:
        try:
            objects = records.read(content)
        except (UnicodeDecodeError, records.Unreadable) as fault:
            complaints.append(f"{name}: {fault}")
            continue
        complaints += [f"{name}: {fault}" for fault in records.faults(objects)]
        steps = [(step.split(".")[0], verdict) for step, verdict in records.steps(objects) if step[0].isdigit()]
        told.update(steps or [("-", records.result(objects))])
    said = Counter(match.groups() for line in lines if (match := _RESULT.fullmatch(line)))
    # A line that could not begin has a record without a run.
    told[("-", "ERROR")] = min(told[("-", "ERROR")], said[("-", "ERROR")])
    return complaints + [f"records tell {told - said} beyond what was said, and not {said - told}"] * (+told != +said)


def line_faults(content, verdict, failures, serial_number):
    """What differs in the record of a line from these failures by step, and the serial number and limit of test 4."""
    objects = records.read(content)
    found = [] if records.result(objects) == verdict else [f"the record says {records.result(objects)}"]
    if records.failures(objects) != failures:
        found.append(f"failures: {records.failures(objects)}")
    for step in ("0", *("4" for _ in [0] if "4" in failures)):
        measured = records.measurements(objects, step).get("System_Serial_Number")
        if measured != serial_number:
            found.append(f"step {step} holds {measured}")
    return found
