# SPDX-License-Identifier: BSD-2-Clause-Patent
"""The validator takes the records of the demonstration servers, and refuses them once they are changed."""

import copy
import json
import sys
from pathlib import Path

_FOLDER = Path(__file__).resolve().parent
sys.path.insert(0, str(_FOLDER.parent.parent / "qemu"))

import records  # noqa: E402

_HEALTHY = records.read((_FOLDER / "healthy.jsonl").read_bytes())
_FAULTY = records.read((_FOLDER / "faulty.jsonl").read_bytes())


def _find(objects, artifact, kind):
    return next(index for index, line in enumerate(objects) if kind in line.get(artifact, {}))


def _step_part(objects, kind):
    return objects[_find(objects, "testStepArtifact", kind)]["testStepArtifact"]


def _renumber(objects):
    for number, line in enumerate(objects):
        line["sequenceNumber"] = number


def _without_step_end(objects):
    del objects[_find(objects, "testStepArtifact", "testStepEnd")]
    _renumber(objects)


def _without_diagnoses(objects):
    objects[:] = [line for line in objects if "diagnosis" not in line.get("testStepArtifact", {})]
    _renumber(objects)


def _swap_numbers(objects):
    objects[3]["sequenceNumber"], objects[4]["sequenceNumber"] = 4, 3


def _step_again(objects):
    start = _find(objects, "testStepArtifact", "testStepStart")
    end = _find(objects, "testStepArtifact", "testStepEnd") + 1
    objects[end:end] = copy.deepcopy(objects[start:end])
    _renumber(objects)


_CHANGES = {
    "no end of the run": lambda objects: objects.pop(),
    "no end of a step": _without_step_end,
    "a step twice": _step_again,
    "swapped numbers": _swap_numbers,
    "FAIL without a reason": _without_diagnoses,
    "an extra key": lambda objects: objects[5].update(extra=1),
    "an extra key of a measurement": lambda objects: _step_part(objects, "measurement")["measurement"].update(extra=1),
    "a null": lambda objects: _step_part(objects, "measurement")["measurement"].update(unit=None),
    "a verdict in words": lambda objects: _step_part(objects, "diagnosis")["diagnosis"].update(verdict="It failed"),
    "a message on two lines": lambda objects: _step_part(objects, "diagnosis")["diagnosis"].update(message="a\nb"),
    "a pair that is none": lambda objects: objects[-1]["testRunArtifact"]["testRunEnd"].update(result="NOT_APPLICABLE"),
    "a local time": lambda objects: objects[2].update(timestamp="2026-11-21T21:43:10+01:00"),
    "a parameter as a number": lambda objects: objects[1]["testRunArtifact"]["testRunStart"]["parameters"].update(A=1),
    "two artifacts": lambda objects: objects[-1].update(objects[0]),
}


def main():
    failed = [f"refused: {fault}" for objects in (_HEALTHY, _FAULTY) for fault in records.faults(objects)]
    for name, change in _CHANGES.items():
        objects = copy.deepcopy(_FAULTY)
        change(objects)
        if not records.faults(objects):
            failed.append(f"taken: {name}")
    if [records.result(record) for record in (_HEALTHY, _FAULTY, _FAULTY[:-1])] != ["PASS", "FAIL", "ERROR"]:
        failed.append("other verdicts")
    for content in (b'{"a":1}', b"{\n", b'{"a":"\xff"}\n'):
        try:
            failed.append(f"read: {json.dumps(records.read(content))}")
        except (UnicodeDecodeError, records.Unreadable):
            pass
    print("\n".join(failed) or f"{len(_CHANGES)} changed records are refused")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
