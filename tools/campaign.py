# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Whole runs on machines that differ from the reference server, by number: campaign.py [--runs=N] [--jobs=N] [--fresh]

A class of runs is a target of fuzz/ whose inputs are made from the numbers 0, 1, 2 ... (fuzz/corpus_runner.cc); all
classes get equally many. May be stopped at any time: the next call goes on, also with more runs than before. A finding
is kept as class and number in build/campaign/state.json; the others run on behind it.
"""
import argparse
import json
import os
import subprocess
import time

from long_runs import ROOT, Workers, end, load, write_whole

BUILD = ROOT / "build/campaign"
PROGRAM = BUILD / "fuzz_targets"
STATE = BUILD / "state.json"
CLASSES = ("smbios", "acpi", "newer_tables", "event_log", "fru", "ipmb", "pci", "variables", "parameters", "network",
           "mixed", "line", "start")
# So many runs at a time, a second or a few.
BATCH = 1000


def again(name, number):
    return f"build/campaign/fuzz_targets {name} seeds {number}"


def still_fails(name, number):
    return subprocess.run([PROGRAM, name, "seeds", str(number)], cwd=BUILD, capture_output=True).returncode != 0


class Class:
    """What is known of a class: how many numbers were handed out, which of them are open, and what they came to."""

    def __init__(self, name, state):
        self.name = name
        self.handed_out = state.get("handed_out", 0)
        self.open = [tuple(batch) for batch in state.get("open", [])]
        self.runs = state.get("runs", 0)
        self.seconds = state.get("seconds", 0)
        self.findings = [number for number in state.get("findings", []) if still_fails(name, number)]
        self.idle = list(self.open)

    def next_batch(self, runs):
        if self.idle:
            return self.idle.pop()
        if self.handed_out >= runs:
            return None
        batch = (self.handed_out, min(self.handed_out + BATCH, runs))
        self.handed_out = batch[1]
        self.open.append(batch)
        return batch

    def close(self, batch, ran, seconds):
        """So many of the batch ran; the others are open again."""
        first, last = batch
        self.open.remove(batch)
        self.runs += ran
        self.seconds += seconds
        if first + ran < last:
            self.open.append((first + ran, last))
            self.idle.append((first + ran, last))

    def state(self):
        return {"handed_out": self.handed_out, "open": self.open, "runs": self.runs,
                "seconds": round(self.seconds, 1), "findings": self.findings}

    def row(self):
        return (f"{self.name:16} {self.runs:9} {self.seconds:9.0f} {self.runs / max(self.seconds, 1):8.0f} "
                f"{len(self.findings):9}")


def run_batch(workers, one, batch):
    """Runs a batch up to its end or to a finding."""
    first, last = batch
    begun, reached, found, told, status = time.monotonic(), first, None, [], None
    for line in workers.lines([PROGRAM, one.name, "seeds", str(first), str(last)], cwd=BUILD):
        if not isinstance(line, str):
            status = line
            break
        word, _, number = line.strip().partition(" ")
        if word == "next" and number.isdigit():
            reached = int(number)
        elif word == "finding" and number.isdigit():
            found = int(number)
        else:
            told.append(line.rstrip())
    with workers.lock:
        if found is not None:
            one.findings.append(found)
            print(*told[:20], f"{one.name} {found} fails. Again: {again(one.name, found)}", sep="\n", flush=True)
            reached = found + 1
        one.close(batch, reached - first, time.monotonic() - begun)
        if status not in (None, 0) and found is None:
            print(*told[:20], sep="\n")
            raise RuntimeError(f"{one.name} ended with {status} behind {reached}, with no finding")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--runs", type=int, default=100_000)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--fresh", action="store_true")
    arguments = parser.parse_args()
    BUILD.mkdir(parents=True, exist_ok=True)
    state = load(STATE, arguments.fresh)
    classes = [Class(name, state.get(name, {})) for name in CLASSES]
    each = -(-arguments.runs // len(classes))
    workers = Workers()

    def work():
        with workers.lock:
            # What has run least, so that a short campaign has some of everything.
            for one in sorted(classes, key=lambda one: one.handed_out):
                if batch := one.next_batch(each):
                    break
            else:
                return False
        run_batch(workers, one, batch)
        return True

    def save():
        write_whole(STATE, json.dumps({one.name: one.state() for one in classes}, indent=1) + "\n")

    begun, before = time.monotonic(), sum(one.runs for one in classes)

    def progress():
        total = sum(one.runs for one in classes)
        rate = (total - before) / max(time.monotonic() - begun, 1)
        return (f"    {total} of {each * len(classes)} runs, {rate:.0f}/s by {arguments.jobs} processes, "
                f"{sum(len(one.findings) for one in classes)} findings")

    finished = workers.run(arguments.jobs, work, save, progress)
    print(f"{'class':16} {'runs':>9} {'seconds':>9} {'runs/s':>8} {'findings':>9}")
    for one in classes:
        print(one.row())
    print(progress())
    end(finished, [again(one.name, number) for one in classes for number in one.findings])


if __name__ == "__main__":
    main()
