# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Fuzzes every target with libFuzzer, one on each processor: fuzz.py [--seconds=N] [--jobs=N] [--fresh] [TARGET]

May be stopped at any time: the next call goes on with what every target has left of its seconds. What is known of a
target lies in build/fuzz/state, its inputs in build/fuzz/corpus. --fresh forgets the figures and keeps the inputs. A
target with a finding rests until its input passes.
"""
import argparse
import json
import os
import re
import subprocess
import time

from long_runs import ROOT, Workers, end, load, write_whole

BUILD = ROOT / "build/fuzz"
PROGRAM = BUILD / "fuzz_targets"
TARGETS = sorted(folder.name for folder in (ROOT / "fuzz/corpus").iterdir())
LONGEST_INPUT = 4096
# Of one run; so far none took a second.
TIME_OUT = 30
# libFuzzer's for its own findings; sanitizers end with 1 or by a signal.
STOPPED_FROM_OUTSIDE = (72, -2, -9, -13, -15)
TELLING = re.compile(r"simulated machine:|what\(\):|runtime error:|ERROR:|SUMMARY:|#\d+ .* " + re.escape(str(ROOT)))


def environment(target, **more):
    return {**os.environ, "TARGET": target, **more}


def again(target, found):
    return f"TARGET={target} build/fuzz/fuzz_targets {found}"


class Target:
    """A target, what is known of it, and the run that goes on."""

    def __init__(self, name, fresh):
        self.name = name
        self.path = BUILD / "state" / f"{name}.json"
        state = load(self.path, fresh)
        self.seconds = state.get("seconds", 0)
        self.runs = state.get("runs", 0)
        self.at_start = state.get("edges_at_start", 0)
        self.edges = state.get("edges", 0)
        self.findings = [found for found in state.get("findings", []) if self.still_fails(found)]
        self.begun, self.runs_now, self.is_started = None, 0, False

    def still_fails(self, found):
        path = ROOT / found
        return path.is_file() and subprocess.run([PROGRAM, path], cwd=ROOT, env=environment(self.name),
                                                 capture_output=True, timeout=10 * TIME_OUT).returncode != 0

    def spent(self):
        return self.seconds + (time.monotonic() - self.begun if self.begun is not None else 0)

    def save(self):
        state = {"seconds": round(self.spent(), 1), "runs": self.runs + self.runs_now,
                 "edges_at_start": self.at_start, "edges": self.edges, "findings": self.findings}
        write_whole(self.path, json.dumps(state) + "\n")

    def row(self):
        runs = self.runs + self.runs_now
        return (f"{self.name:16} {self.spent():8.0f} {runs:11} {runs / max(self.spent(), 1):8.0f} {self.edges:7} "
                f"{self.edges - self.at_start:10} {len(self.findings):9}")

    def command(self, seconds):
        corpus = BUILD / "corpus" / self.name
        corpus.mkdir(parents=True, exist_ok=True)
        command = [PROGRAM, f"-max_total_time={seconds}", "-len_control=0", f"-max_len={LONGEST_INPUT}",
                   f"-timeout={TIME_OUT}", "-print_final_stats=1", f"-artifact_prefix=build/fuzz/{self.name}-"]
        words = subprocess.run([PROGRAM], env=environment(self.name, WORDS="1"), capture_output=True, check=True).stdout
        if words:
            dictionary = BUILD / f"{self.name}.dict"
            dictionary.write_bytes(words)
            command.append(f"-dict={dictionary}")
        return [*command, corpus, ROOT / "fuzz/corpus" / self.name]

    def take(self, line):
        """Takes the figures out of a line of libFuzzer, and the file of a finding."""
        if counted := re.match(r"#(\d+)\s+(\w+).* cov: (\d+)", line):
            self.runs_now = int(counted.group(1))
            self.edges = max(self.edges, int(counted.group(3)))
            if counted.group(2) == "INITED" and self.at_start == 0:
                self.at_start = self.edges
        if total := re.match(r"stat::number_of_executed_units: (\d+)", line):
            self.runs_now = int(total.group(1))
        written = re.search(r"Test unit written to (\S+)", line)
        return written.group(1) if written else None

    def fuzz(self, workers, seconds):
        self.begun = time.monotonic()
        telling, found, status = [], None, None
        command = self.command(max(round(seconds - self.seconds), 1))
        for line in workers.lines(command, cwd=ROOT, env=environment(self.name)):
            if not isinstance(line, str):
                status = line
                break
            found = self.take(line) or found
            if TELLING.search(line):
                telling.append(line.rstrip())
        with workers.lock:
            self.seconds, self.begun = self.spent(), None
            self.runs, self.runs_now = self.runs + self.runs_now, 0
            if status not in (None, 0, *STOPPED_FROM_OUTSIDE):
                self.findings.append(found or "(no input was kept)")
                print(*telling[:20], f"{self.name} fails. Again: {again(self.name, found)}", sep="\n", flush=True)
            self.save()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--fresh", action="store_true")
    parser.add_argument("target", nargs="?", choices=TARGETS)
    arguments = parser.parse_args()
    (BUILD / "state").mkdir(parents=True, exist_ok=True)
    targets = [Target(name, arguments.fresh) for name in ([arguments.target] if arguments.target else TARGETS)]
    waiting = [one for one in targets if one.spent() < arguments.seconds and not one.findings]
    workers = Workers()

    def work():
        with workers.lock:
            if not waiting:
                return False
            target = waiting.pop(0)
            target.is_started = True
        target.fuzz(workers, arguments.seconds)
        return True

    def progress():
        now = [one for one in targets if one.begun is not None]
        return "\n".join(f"    {one.name}: {one.spent():.0f} of {arguments.seconds} s, {one.runs + one.runs_now} runs, "
                         f"{one.edges} edges; {len(waiting)} targets wait" for one in now)

    finished = workers.run(arguments.jobs, work, lambda: [one.save() for one in targets], progress)
    print(f"{'target':16} {'seconds':>8} {'runs':>11} {'runs/s':>8} {'edges':>7} {'new edges':>10} {'findings':>9}")
    for target in targets:
        print(target.row())
    end(finished, [again(target.name, found) for target in targets for found in target.findings])


if __name__ == "__main__":
    main()
