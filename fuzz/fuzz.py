# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Fuzzes the targets one after the other with libFuzzer: fuzz.py [--seconds=N] [TARGET]

New inputs stay in build/fuzz/corpus. An input that fails a run ends everything.
"""
import argparse
import os
import re
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PROGRAM = ROOT / "build/fuzz/fuzz_targets"
TARGETS = sorted(folder.name for folder in (ROOT / "fuzz/corpus").iterdir())
PROGRESS_SECONDS = 10
LONGEST_INPUT = 4096
# Of one run; so far none took a second.
TIME_OUT = 30
TELLING = re.compile(r"simulated machine:|what\(\):|runtime error:|ERROR:|SUMMARY:|#\d+ .* " + re.escape(str(ROOT)))


def fuzz(target, seconds):
    """Gives the summary's figures, and the log's telling lines and the input when there is a finding."""
    corpus = ROOT / "build/fuzz/corpus" / target
    corpus.mkdir(parents=True, exist_ok=True)
    command = [PROGRAM, f"-max_total_time={seconds}", "-len_control=0", f"-max_len={LONGEST_INPUT}",
               f"-timeout={TIME_OUT}", "-print_final_stats=1", f"-artifact_prefix=build/fuzz/{target}-",
               corpus, ROOT / "fuzz/corpus" / target]
    figures = {"runs": "0", "edges": "0"}
    telling, finding = [], None
    shown = time.monotonic()
    with subprocess.Popen(command, cwd=ROOT, env={**os.environ, "TARGET": target}, stderr=subprocess.PIPE, text=True,
                          errors="replace") as process:
        for line in process.stderr:
            if counted := re.match(r"#(\d+)\s.*cov: (\d+)", line):
                figures["runs"], figures["edges"] = counted.groups()
            if total := re.match(r"stat::number_of_executed_units: (\d+)", line):
                figures["runs"] = total.group(1)
            if written := re.search(r"Test unit written to (\S+)", line):
                finding = written.group(1)
            if TELLING.search(line):
                telling.append(line.rstrip())
            if time.monotonic() - shown >= PROGRESS_SECONDS:
                shown = time.monotonic()
                print(f"    {target}: {figures['runs']} runs, {figures['edges']} edges", flush=True)
    if process.returncode != 0 and finding is None:
        finding = "(no input was kept)"
    return figures, telling, finding


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("target", nargs="?", choices=TARGETS)
    arguments = parser.parse_args()
    for target in [arguments.target] if arguments.target else TARGETS:
        start = time.monotonic()
        figures, telling, finding = fuzz(target, arguments.seconds)
        rate = int(figures["runs"]) / max(time.monotonic() - start, 1)
        print(f"{target:11} {figures['runs']:>8} runs {rate:6.0f}/s {figures['edges']:>6} edges "
              f"{1 if finding else 0} findings", flush=True)
        if finding:
            print(*telling[:20], sep="\n")
            sys.exit(f"{target} fails. Again: TARGET={target} {PROGRAM.relative_to(ROOT)} {finding}")


if __name__ == "__main__":
    main()
