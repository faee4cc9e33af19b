# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Reads and judges records: against our schema, the published one where it is at hand, and what neither can say.

As a program: python3 records.py FILE... tells each fault, and succeeds when there is none.
"""

import json
import sys
from pathlib import Path

from jsonschema import Draft202012Validator, FormatChecker

_ROOT = Path(__file__).resolve().parent.parent
_OWN = json.loads((_ROOT / "qemu" / "record.schema.json").read_text(encoding="utf-8"))
_PUBLISHED = _ROOT.parent / "shared" / "ocp-output-schema"


def _within(schema, name):
    """The same for its place in one schema of all files, where each stands under its name."""
    if isinstance(schema, list):
        return [_within(part, name) for part in schema]
    if not isinstance(schema, dict):
        return schema
    moved = {key: _within(part, name) for key, part in schema.items() if key not in ("$id", "$schema")}
    ref = moved.get("$ref", "")
    if ref.startswith("#/"):
        moved["$ref"] = f"#/$defs/{name}/{ref[2:]}"
    elif ref:
        moved["$ref"] = "#/$defs/" + ref.rsplit("/", 1)[1]
    return moved


def _published():
    """The published schema, whose files refer to one another by addresses of the network."""
    files = [json.loads(file.read_text(encoding="utf-8")) for file in sorted(_PUBLISHED.glob("*.json"))]
    schemas = {schema["$id"].rsplit("/", 1)[1]: schema for schema in files}
    return {"$ref": "#/$defs/output", "$defs": {name: _within(schema, name) for name, schema in schemas.items()}}


_SCHEMAS = [_OWN, *([_published()] if _PUBLISHED.is_dir() else [])]
_VALIDATORS = [Draft202012Validator(schema, format_checker=FormatChecker()) for schema in _SCHEMAS]


class Unreadable(Exception):
    """Bytes that are no lines of JSON objects."""


def read(content):
    """The objects of a record's bytes."""
    text = content.decode("utf-8", errors="strict")
    if not text.endswith("\n"):
        raise Unreadable("the last line has no end")
    try:
        return [json.loads(line) for line in text.split("\n")[:-1]]
    except json.JSONDecodeError as fault:
        raise Unreadable(f"no JSON: {fault}") from fault


def faults(objects, is_cut_off=False):
    """What is wrong with the objects of a record; one that was cut off lacks its end."""
    found = [
        f"line {number}: {error.message[:200]}"
        for number, line in enumerate(objects, 1)
        for validator in _VALIDATORS
        for error in validator.iter_errors(line)
    ]
    return found or [*_order_faults(objects, is_cut_off), *_verdict_faults(objects)]


def _order_faults(objects, is_cut_off):
    if [line["sequenceNumber"] for line in objects] != list(range(len(objects))):
        yield "the sequence has a gap"
    is_begun = len(objects) >= 2 and "testRunStart" in objects[1].get("testRunArtifact", {})
    if not is_begun or "schemaVersion" not in objects[0]:
        yield "it does not begin with schemaVersion and testRunStart"
    run = [key for line in objects for key in line.get("testRunArtifact", {})]
    ends = run.count("testRunEnd")
    if run.count("testRunStart") > 1 or ends != (0 if is_cut_off else 1):
        yield f"{run.count('testRunStart')} testRunStart, {ends} testRunEnd"
    if ends and "testRunEnd" not in objects[-1].get("testRunArtifact", {}):
        yield "something stands behind testRunEnd"
    yield from _step_faults(objects, is_cut_off)


def _step_faults(objects, is_cut_off):
    """Steps are opened once and closed once, one after the other."""
    open_step, seen = None, set()
    for line in objects:
        artifact = line.get("testStepArtifact")
        if artifact is None:
            continue
        step = artifact["testStepId"]
        if "testStepStart" in artifact:
            if open_step is not None or step in seen:
                yield f"step {step} begins within a step, or again"
            open_step = step
            seen.add(step)
        elif step != open_step:
            yield f"step {step} is not open"
        if "testStepEnd" in artifact:
            open_step = None
    if open_step is not None and not is_cut_off:
        yield f"step {open_step} has no end"


def _verdict_faults(objects):
    """The verdict is that of the steps: a failure is a FAIL, unless something went wrong."""
    verdict = result(objects)
    failed = bool(failures(objects))
    errors = any("error" in {**line.get("testStepArtifact", {}), **line.get("testRunArtifact", {})} for line in objects)
    if verdict == "PASS" and (failed or errors):
        yield "PASS in spite of a failure or an error"
    if verdict == "FAIL" and not failed:
        yield "FAIL without a diagnosis"


def result(objects):
    """PASS, FAIL, ERROR or SKIP. What broke off is an ERROR."""
    for line in objects:
        if end := line.get("testRunArtifact", {}).get("testRunEnd"):
            return end["result"] if end["status"] == "COMPLETE" else end["status"]
    return "ERROR"


def failures(objects):
    """The steps with FAIL diagnoses, and their verdicts."""
    steps = {}
    for line in objects:
        artifact = line.get("testStepArtifact", {})
        if "diagnosis" in artifact:
            steps.setdefault(artifact["testStepId"], []).append(artifact["diagnosis"]["verdict"])
    return steps


def steps(objects):
    """Each step that ended: its id and its verdict."""
    failed = failures(objects)
    for line in objects:
        artifact = line.get("testStepArtifact", {})
        if end := artifact.get("testStepEnd"):
            step = artifact["testStepId"]
            yield step, end["status"] if end["status"] != "COMPLETE" else "FAIL" if step in failed else "PASS"


def measurements(objects, step):
    """The measurements of a step by name."""
    return {
        artifact["measurement"]["name"]: artifact["measurement"]
        for line in objects
        if (artifact := line.get("testStepArtifact")) and artifact["testStepId"] == step and "measurement" in artifact
    }


def main():
    complaints = 0
    for name in sys.argv[1:]:
        try:
            found = faults(read(Path(name).read_bytes()))
        except (OSError, UnicodeDecodeError, Unreadable) as fault:
            found = [str(fault)]
        complaints += len(found)
        for complaint in found:
            print(f"{name}: {complaint}")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
