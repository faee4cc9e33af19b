# SPDX-License-Identifier: BSD-2-Clause-Patent
"""What mfgline makes of records, whole and damaged: check_mfgline.py PROGRAM"""

import csv
import io
import signal
import sys
import tempfile
import time
from pathlib import Path

from mfgline import HOSTILE, RECORDS, Mfgline, failing, record, text_of

# Debian's packages serve a Python of another origin, too.
sys.path.append("/usr/lib/python3/dist-packages")
from junitparser import JUnitXml  # noqa: E402

_WHOLE = record()
_LOG = ["BIOS 1.0\r", "\x1b[2J\x1b[1;1H@MFG " + _WHOLE[0] + "\r", *("@MFG " + line + "\r" for line in _WHOLE[1:])]
_WITH_ERROR = (("0", None), ("4", "ERROR"))

# name: lines, the unit's verdict (None: not stored), exit status, what is complained about
_READ = {
    "whole": (_WHOLE, "PASS", 0, ""),
    "a serial log with other text": ([*_LOG, '{"other": "text"}', "Shell> "], "PASS", 0, ""),
    "no end": (_WHOLE[:-1], "ERROR", 0, ""),
    "the last line is cut": ([*_WHOLE[:-1], _WHOLE[-1][:40]], "ERROR", 1, f":{len(_WHOLE)}: no whole JSON object"),
    "a damaged line": ([*_WHOLE[:4], _WHOLE[4][:-9], *_WHOLE[5:]], "PASS", 1, ":5: no whole JSON object"),
    "a lost line": ([*_WHOLE[:4], *_WHOLE[5:]], "PASS", 1, ":5: lines are missing before this one"),
    "no start": ([_WHOLE[0], *_WHOLE[2:]], None, 1, "without its testRunStart"),
    "another version": ([line.replace('"major": 2', '"major": 3') for line in _WHOLE[:1]], None, 1, "version"),
    "nothing": ([], None, 1, "no record in it"),
    "a PASS with a failed step": (record(steps=(("0", None), ("4", "string-mismatch"))), "FAIL", 0, ""),
    "a PASS with an error": (record(steps=_WITH_ERROR), "ERROR", 0, ""),
    "a PASS without a test": (record(steps=()), "ERROR", 0, ""),
    "one single test": (record(steps=(("4", None),), command="mfgtest.efi 4"), "PARTIAL", 0, ""),
    "an unknown end": (record(end="COMPLETE/MAYBE"), "ERROR", 0, ""),
}


def read(mfgline_of, folder):
    """Damage is told and costs only itself."""
    mfgline = mfgline_of("read")
    for name, (lines, _, status, complaint) in _READ.items():
        file = folder / "lines.txt"
        file.write_text("".join(line.replace("SN-1", name) + "\n" for line in lines), encoding="utf-8")
        mfgline("add", file, status=status)
        assert complaint in mfgline.errors and bool(complaint) == bool(mfgline.errors), f"{name}: {mfgline.errors}"
    assert mfgline.verdicts() == {name: verdict for name, (_, verdict, _, _) in _READ.items() if verdict}


def same_record(mfgline_of, _):
    """The longer of two records of one run stays, in any order; another attempt is another record."""
    mfgline = mfgline_of("same")
    for lines, says in (
        (_WHOLE[:-2], "1 records added"),
        (_WHOLE, "1 replaced"),
        (_WHOLE[:-1], "1 known"),
        (failing("SN-1", 5), "1 records added"),
    ):
        assert says in mfgline("add", "-", text=text_of(lines)), says
    assert mfgline.verdicts() == {"SN-1": "FAIL"}
    # A single test that passes afterwards makes no good unit.
    mfgline("add", "-", text=text_of(record("SN-1", 9, command="mfgtest.efi 4")))
    assert mfgline.verdicts() == {"SN-1": "FAIL"}


def answers(mfgline_of, _):
    """The demonstration servers, and a unit that wants to be something else."""
    mfgline = mfgline_of("answers")
    mfgline("add", RECORDS)
    mfgline("add", "-", text=text_of(failing(HOSTILE, product=HOSTILE), record("=2+3", product="-1 @x")))
    summary = " ".join(mfgline("summary").split())
    for line in ("First-pass yield 50.00 % 2 of 4 units", "Final yield 50.00 %", "37 System event log"):
        assert line in summary, summary
    unit = mfgline("unit", "SN-0000009")
    assert 'Exp: "SN-0000001" Rec: "SN-0000009"' in unit and "repeats" in unit
    assert "test 4 System_Serial_Number" in mfgline("compare", "SN-0000001", "SN-0000009", status=1)
    assert "agree" in mfgline("compare", "=2+3", "=2+3")
    assert mfgline("table", "--product", "Rack Server 2U").count("\n") == 3
    assert "no record" in (mfgline("table", "--since", "2026-11-22"), mfgline.errors)[1]
    hostile = next(name for name in mfgline.verdicts() if "script" in name)
    assert not any(character < " " or character == "\u202e" for character in hostile), hostile

    junit = mfgline("junit")
    suites = {suite.name: suite for suite in JUnitXml.fromstring(junit.encode())}
    assert (suites["SN-0000009"].failures, suites["SN-0000009"].skipped, suites[hostile].failures) == (3, 1, 1)
    rows = {row["unit"]: row for row in csv.DictReader(io.StringIO(mfgline("csv")))}
    assert rows[hostile]["verdict"] == "FAIL" and rows["'=2+3"]["verdict"] == "PASS", rows
    values = list(csv.DictReader(io.StringIO(mfgline("csv", "--values"))))
    wrong = [row for row in values if row["outside"] == "1" and row["unit"] == "SN-0000009"]
    assert [(row["value"], row["limit"]) for row in wrong] == 2 * [("SN-0000009", "SN-0000001")], wrong


def waivers(mfgline_of, _):
    """A waived failure is never a plain pass, and one that has expired counts no more."""
    mfgline = mfgline_of("waivers")
    both = record("SN-2", 1, "COMPLETE/FAIL", (("0", None), ("4", "string-mismatch"), ("5", "other")))
    mfgline("add", "-", text=text_of(failing("SN-1"), both, failing("SN-3", 2)[:-1]))
    mfgline("waive", "4", "string-mismatch", "--reason", "r", status=2)
    for more, verdict in (
        (("--product", "Other"), "FAIL"),
        (("--until", "2020-01-01"), "FAIL"),
        (("--product", "Server", "--until", "9999-01-01"), "WAIVED"),
        (("--product", "Server", "--until", "2020-01-01"), "FAIL"),
        ((), "WAIVED"),
    ):
        mfgline("waive", "4", "string-mismatch", "--reason", "r", "--by", "Q", *more)
        assert mfgline.verdicts() == {"SN-1": verdict, "SN-2": "FAIL", "SN-3": "ERROR"}, more
    assert "waived by Q: r" in mfgline("unit", "SN-1")
    assert '<skipped message="waived by Q: r' in mfgline("junit")
    assert "Final yield 0.00 %" in " ".join(mfgline("summary").split())
    mfgline("waive", "44", "no-such-code", "--reason", "r", "--by", "Q")
    assert "no unit has failed test 44" in mfgline.errors


def orders(mfgline_of, _):
    """Five units running with the same expected value; four, and five with a good one between, are none."""
    for name, good, suspected in (("run", 9, True), ("short", 4, False), ("interrupted", 2, False)):
        mfgline = mfgline_of(name)
        units = [record(f"SN-{n}", n) if n == good else failing(f"SN-{n}", n) for n in range(6 if good < 9 else 5)]
        mfgline("add", "-", text=text_of(*units))
        assert ("Suspect the order" in mfgline("summary")) == suspected, name
    assert "SN-0" in mfgline_of("run")("summary", "--running", "5").split("Suspect")[1]


def watch(mfgline_of, folder):
    """A folder is followed: what comes is added once it rests, and the longer record takes the place of the shorter."""
    mfgline = mfgline_of("watch")
    watched = folder / "watched"
    watched.mkdir()
    with mfgline.start("add", "--watch", "--for", 60, watched) as process:
        for lines, says in ((_WHOLE[:-1], "1 records added"), (_WHOLE, "1 replaced")):
            (watched / "one.jsonl").write_text(text_of(lines), encoding="utf-8")
            assert says in process.stdout.readline(), says
        process.send_signal(signal.SIGINT)
        assert process.wait(30) == 0
    assert mfgline.verdicts() == {"SN-1": "PASS"}
    start = time.monotonic()
    mfgline("add", "--watch", "--for", 0, watched)
    assert time.monotonic() - start < 10


def two_at_once(mfgline_of, folder):
    """Two stations add to one file, some of it the same."""
    mfgline = mfgline_of("two")
    files = [folder / "half-1.jsonl", folder / "half-2.jsonl"]
    for file, units in zip(files, (range(0, 300), range(200, 500))):
        file.write_text(text_of(*(record(f"SN-{n}", n) for n in units)), encoding="utf-8")
    processes = [mfgline.start("add", file) for file in files]
    for process in processes:
        with process:
            assert process.wait(60) == 0
    assert set(mfgline.verdicts().values()) == {"PASS"} and len(mfgline.verdicts()) == 500


def refusals(mfgline_of, folder):
    """What cannot run says what to do."""
    mfgline = mfgline_of("refusals")
    mfgline("table", status=2)
    assert "mfgline add FOLDER" in mfgline.errors
    mfgline("add", folder / "nowhere", status=2)
    mfgline("add", "-", text=text_of(_WHOLE))
    for words, says in (
        (("table", "--since", "yesteryear"), "Write 2026-11-21"),
        (("unit", "SN-9"), "mfgline table"),
        (("compare", "SN-1"), "SERIAL"),
        (("waive", "4", "x", "--reason", "r", "--by", "b", "--until", "soon"), "no day"),
        (("nonsense",), "nonsense"),
    ):
        mfgline(*words, status=2)
        assert says in mfgline.errors, mfgline.errors
    (folder / "text.db").write_text("no database\n" * 100, encoding="utf-8")
    Mfgline(sys.argv[1], folder / "text.db")("table", status=2)


def main():
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)

        def mfgline_of(case):
            return Mfgline(sys.argv[1], folder / f"{case}.db")

        for check in (read, same_record, answers, waivers, orders, watch, two_at_once, refusals):
            check(mfgline_of, folder)


if __name__ == "__main__":
    main()
