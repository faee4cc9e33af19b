#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Lines and branches per product folder, from gcovr's JSON; what is not reached, by its place.

    coverage.py COVERAGE.json
"""
import collections
import json
import pathlib
import sys


def missed(line):
    if line["count"] == 0: return "never runs"
    return "goes one way only" if any(branch["count"] == 0 for branch in line["branches"]) else None


def main():
    totals = collections.defaultdict(collections.Counter)
    for file in json.loads(pathlib.Path(sys.argv[1]).read_text())["files"]:
        source = pathlib.Path(file["file"]).read_text().splitlines()
        for line in file["lines"]:
            if line["gcovr/noncode"]: continue
            for name in (file["file"].split("/")[0], "all"):
                totals[name].update(lines=1, reached=line["count"] > 0, branches=len(line["branches"]),
                                    taken=sum(branch["count"] > 0 for branch in line["branches"]))
            if reason := missed(line):
                number = line["line_number"]
                print(f"{file['file']}:{number}: {reason}: {source[number - 1].strip()[:90]}")
    print(f"\n{'folder':10} {'lines':>6} reached   {'branches':>8} taken")
    for name, of in sorted(totals.items(), key=lambda item: item[0] == "all"):
        print(f"{name:10} {of['lines']:6} {100 * of['reached'] / of['lines']:6.1f} %   {of['branches']:8} "
              f"{100 * of['taken'] / max(of['branches'], 1):5.1f} %")


if __name__ == "__main__":
    main()
