# SPDX-License-Identifier: BSD-2-Clause-Patent
"""mfgline on the records of many units, beside a plain import of the same files with jq and sqlite3."""

import os
import subprocess
import sys
from pathlib import Path

import record_generator
from counts import BUILD

_ROOT = Path(__file__).resolve().parent.parent
_PROGRAM = _ROOT / "build" / "tools" / "mfgline"
_TEMPLATES = _ROOT / "tests" / "records"
_FILES = BUILD / "records"
_FEW, _MANY = 10_000, 100_000

# What a station could do instead: every measured value and every verdict of a step, in one table.
_PLAIN = r"""
find "$1" -name '*.jsonl' -print0 | xargs -0 cat |
  jq -r 'select(.testStepArtifact) | .timestamp as $time | .testStepArtifact | [$time, .testStepId, .measurement.name,
         .measurement.value, .measurement.validators[0].value, .diagnosis.verdict,
         .testStepEnd.status] | @csv' >"$2.csv"
sqlite3 "$2" '.mode csv' "create table line (time, step, name, value, expected, verdict, status)" ".import $2.csv line"
"""


def _timed(*command, source=None):
    """CPU seconds and the most megabytes of memory of a program and what it starts."""
    process = subprocess.Popen([str(word) for word in command], stdin=source, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode:
        raise OSError(f"{command[0]} ended with {process.returncode}")
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def _mfgline(database, *words, source=None):
    return _timed(_PROGRAM, "--database", database, *words, source=source)


def _database(name):
    database = BUILD / name
    database.unlink(missing_ok=True)
    return database


def _many():
    """All records through one pipe, which needs no room for files."""
    database = _database("many.db")
    command = [sys.executable, "-B", record_generator.__file__, _TEMPLATES, str(_MANY)]
    with subprocess.Popen(command, stdout=subprocess.PIPE) as generator:
        return _mfgline(database, "add", "-", source=generator.stdout)


def measure():
    """Figures by name: CPU seconds, megabytes of memory."""
    if not _FILES.exists():
        record_generator.write(_TEMPLATES, _FEW, _FILES)
    few, plain = _database("few.db"), _database("plain.db")
    figures = {
        f"add {_FEW:,} records": _mfgline(few, "add", _FILES),
        "add them again": _mfgline(few, "add", _FILES),
        "jq and sqlite3 instead": _timed("sh", "-euc", _PLAIN, "sh", _FILES, plain),
        "summary": _mfgline(few, "summary"),
        "table": _mfgline(few, "table"),
        "page": _mfgline(few, "page", BUILD / "pages"),
        f"add {_MANY:,} records": _many(),
        f"summary of {_MANY:,}": _mfgline(BUILD / "many.db", "summary"),
    }
    (BUILD / "many.db").unlink()
    return figures


def targets(figures):
    few, few_memory = figures[f"add {_FEW:,} records"]
    many, many_memory = figures[f"add {_MANY:,} records"]
    each = many / few / (_MANY / _FEW)
    return [
        (f"mfgline adds {_FEW:,} records in {few:.1f} s of one core, at most 10", few <= 10),
        (f"its summary takes {figures['summary'][0]:.2f} s, at most 0.5", figures["summary"][0] <= 0.5),
        (f"its pages take {figures['page'][0]:.1f} s, at most 5", figures["page"][0] <= 5),
        (f"of {_MANY:,} records each takes {each:.2f} times as long as of {_FEW:,}", each < 1.25),
        (f"with {many_memory:.0f} MB of memory instead of {few_memory:.0f}", many_memory < 1.5 * few_memory + 64),
    ]
