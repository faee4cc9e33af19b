# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Runs mfgline, and makes small records and changes of them."""

import json
import os
import subprocess
from pathlib import Path

RECORDS = Path(__file__).resolve().parents[1] / "records"
TIME_LIMIT = 120
HOSTILE = "<script>alert('1')</script>\"&]]>\x00\x1b[2J\u202e=1"


class Mfgline:
    """The program with one database."""

    def __init__(self, program, database):
        self._command = [str(program), "--database", str(database)]

    def __call__(self, *words, status=0, text=None):
        """Gives what the program says on standard output; errors are in self.errors."""
        run = subprocess.run(
            [*self._command, *map(str, words)],
            input=text,
            capture_output=True,
            encoding="utf-8",
            timeout=TIME_LIMIT,
            env={**os.environ, "NO_COLOR": "1"},
            check=False,
        )
        self.errors = run.stderr
        assert run.returncode == status, f"{words}: exit status {run.returncode}, expected {status}\n{run.stderr}"
        return run.stdout

    def start(self, *words):
        return subprocess.Popen([*self._command, *map(str, words)], stdout=subprocess.PIPE, text=True)

    def verdicts(self, *words):
        """Verdicts by unit."""
        rows = [line.split("  ") for line in self("table", *words).splitlines()[1:]]
        cells = [[cell.strip() for cell in row if cell.strip()] for row in rows]
        return {row[0]: row[1] for row in cells}


def record(
    unit="SN-1",
    minute=0,
    end="COMPLETE/PASS",
    steps=(("0", None), ("4", None)),
    expected="a",
    product="Server",
    command="start.efi",
):
    """The lines of a short record; a step's word is its status, or the code of its failure."""
    said = [
        {"schemaVersion": {"major": 2, "minor": 0}},
        {
            "testRunArtifact": {
                "testRunStart": {
                    "name": "mfgtest",
                    "version": "1",
                    "commandLine": command,
                    "parameters": {"Name": expected},
                    "dutInfo": {"dutInfoId": unit, "name": product},
                    "metadata": {"station": "ST-1", "order": "4711"},
                }
            }
        },
    ]
    for name, word in steps:
        values = {"name": "Name", "value": "b" if word else expected}
        limits = [{"name": "Name", "type": "EQUAL", "value": expected}]
        parts = [{"testStepStart": {"name": f"Test {name}"}}, {"measurement": {**values, "validators": limits}}]
        if word and word != "ERROR":
            parts.append({"diagnosis": {"verdict": word, "type": "FAIL", "message": f"Name mismatched {unit}"}})
        parts.append({"testStepEnd": {"status": "ERROR" if word == "ERROR" else "COMPLETE"}})
        said += [{"testStepArtifact": {"testStepId": name, **part}} for part in parts]
    if end:
        status, result = end.split("/")
        said.append({"testRunArtifact": {"testRunEnd": {"status": status, "result": result}}})
    stamp = f"2026-11-21T{minute // 60:02}:{minute % 60:02}:00Z"
    return [json.dumps({"sequenceNumber": number, "timestamp": stamp, **one}) for number, one in enumerate(said)]


def failing(unit, minute=0, code="string-mismatch", **more):
    return record(unit, minute, "COMPLETE/FAIL", (("0", None), ("4", code)), **more)


def text_of(*records):
    return "".join(line + "\n" for one in records for line in one)
