# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Makes records of many units out of a few real ones: record_generator.py TEMPLATES COUNT [--folder=OUT] [--seed=N]

TEMPLATES holds records of whole line runs, healthy and with faults. Each new record takes every step from one of them:
one unit in ten has faults, and half of those come again and pass. Without a folder all records go to standard output.
Times, stations and serial numbers follow from the seed alone.
"""

import argparse
import json
import random
import sys
from datetime import datetime, timedelta, timezone
from pathlib import Path

_FORMAT = "%Y-%m-%dT%H:%M:%SZ"
_START = datetime(2026, 3, 2, 6, tzinfo=timezone.utc)
_FAULTY = 0.1
_STATIONS = 4
_STATION = "station"


class Template:
    """One record, cut into its head, its steps and its end; lines are (seconds after the start, rest of the line)."""

    def __init__(self, path):
        lines = [json.loads(line) for line in path.read_text(encoding="utf-8").splitlines()]
        start = next(line["testRunArtifact"]["testRunStart"] for line in lines if "testRunArtifact" in line)
        self.serial = start["dutInfo"]["dutInfoId"]
        start["metadata"] |= {"station": _STATION, "order": "4711"}
        self.head, self.steps, self.failing = [], {}, set()
        first = datetime.strptime(lines[0]["timestamp"], _FORMAT)
        for line in lines:
            step = line.get("testStepArtifact", {})
            seconds = (datetime.strptime(line.pop("timestamp"), _FORMAT) - first).total_seconds()
            del line["sequenceNumber"]
            part = self.steps.setdefault(step["testStepId"], []) if step else self.head
            part.append((seconds, json.dumps(line, separators=(",", ":"))[1:]))
            if step.get("diagnosis", {}).get("type") == "FAIL":
                self.failing.add(step["testStepId"])
        self.seconds = seconds
        self.end = self.head.pop()


def record(healthy, faults, serial, station, start):
    """The text of one record; faults are the steps that come from templates with faults."""
    steps = [faults.get(name, lines) for name, lines in healthy.steps.items()]
    ending = '"COMPLETE","result":"FAIL"' if faults else '"COMPLETE","result":"PASS"'
    end = f'"testRunArtifact":{{"testRunEnd":{{"status":{ending}}}}}}}'
    rows = [*healthy.head, *(line for step in steps for line in step), (healthy.seconds, end)]
    stamps = {seconds: (start + timedelta(seconds=seconds)).strftime(_FORMAT) for seconds, _ in rows}
    text = "".join(
        f'{{"sequenceNumber":{number},"timestamp":"{stamps[seconds]}",{rest}\n'
        for number, (seconds, rest) in enumerate(rows)
    )
    return text.replace(f'"{healthy.serial}"', f'"{serial}"').replace(f'"{_STATION}"', f'"{station}"')


def records(folder, count, seed=1):
    """(serial, start, text) of so many records."""
    templates = [Template(path) for path in sorted(Path(folder).glob("*.jsonl"))]
    healthy = next(template for template in templates if not template.failing)
    faults = [(name, template.steps[name]) for template in templates for name in sorted(template.failing)]
    chance = random.Random(seed)
    again = None
    for number in range(count):
        start = _START + timedelta(seconds=50 * number)
        if again:
            serial, found, again = again, {}, None
        else:
            serial = f"SN-{number:07}"
            found = dict(chance.sample(faults, chance.randint(1, len(faults)))) if chance.random() < _FAULTY else {}
            again = serial if found and chance.random() < 0.5 else None
        yield serial, start, record(healthy, found, serial, f"ST-{1 + number % _STATIONS}", start)


def write(templates, count, folder, seed=1):
    """As files, named as testlib names them."""
    folder.mkdir(parents=True, exist_ok=True)
    for serial, start, text in records(templates, count, seed):
        (folder / f"{serial}-{start:%Y%m%d-%H%M%S}.jsonl").write_text(text, encoding="utf-8")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("templates", type=Path)
    parser.add_argument("count", type=int)
    parser.add_argument("--folder", type=Path)
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    if arguments.folder:
        write(arguments.templates, arguments.count, arguments.folder, arguments.seed)
        return
    for _, _, text in records(arguments.templates, arguments.count, arguments.seed):
        sys.stdout.write(text)


if __name__ == "__main__":
    main()
