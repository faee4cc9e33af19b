#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Changes the products by one small fault at a time and asks the host tests.

    mutate.py BUILD [--sample N] [--seed N] [--only RESULTS] [FOLDER|FILE...]

A mutant is one product source with one change. Its object is linked before the
library that holds the good one, so the tree and BUILD, a built host flavour,
stay as they are. A mutant that no test program fails for has survived: a test
is missing, or the change means nothing.
"""
import argparse
import collections
import concurrent.futures
import json
import os
import pathlib
import random
import re
import resource
import shlex
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[1]
RESULTS = ROOT / "build/mutation/results.json"
FOLDERS = ["module", "report", "platform", "smbios", "guid", "net", "pci", "ipmi", "testlib", "drivers"]
PROGRAMS = ["testlib_tests", "driver_tests", "guid_tests", "ipmi_tests", "module_tests",
            "fault_tests"]
OWN_PROGRAM = {"module": "module_tests", "report": "module_tests", "smbios": "module_tests",
               "guid": "guid_tests", "net": "guid_tests",
               "pci": "guid_tests", "ipmi": "ipmi_tests", "drivers": "driver_tests"}
SLOW_SECONDS = 0.4

NO_CODE = re.compile(r'//[^\n]*|/\*.*?\*/|R"\(.*?\)"|u?"(?:\\.|[^"\\\n])*"|u?\'(?:\\.|[^\'\\])+\'|^#[^\n]*|'
                     r"\bstatic_assert\([^;]*;", re.M | re.S)
SWAPS = {"<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"], "==": ["!="], "!=": ["=="],
         "&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "+=": ["-="], "-=": ["+="], "++": ["--"], "--": ["++"],
         "!": [""], "true": ["false"], "false": ["true"]}
# clang-format puts blanks around what takes two operands, and only there.
SWAPPED = re.compile(r"(?<= )(?:[<>]=?|[!=]=|&&|\|\||[-+]=?)(?= )|\+\+|--|(?<![=!<>&|])!(?=[\w:(])|\b(?:true|false)\b")
NUMBER = re.compile(r"(?<![\w.])(0[xX][0-9A-Fa-f]+|\d+)([uUlL]*)\b(?!\.)")


def neighbours(number):
    write = hex if number[1][1:2] in ("x", "X") else str
    value = int(number[1], 0)
    return [write(other) + number[2] for other in (value - 1, value + 1) if other >= 0]


def conditions(code):
    for opening in re.finditer(r"\b(?:if|while) \(", code):
        depth, end = 1, opening.end()
        while depth:
            depth += {"(": 1, ")": -1}.get(code[end], 0)
            end += 1
        yield opening.end(), end - 1


def statements(code):
    """Lines that are one whole statement and follow another one or a brace."""
    start, before = 0, ";"
    for line in code.splitlines(keepends=True):
        text = line.strip()
        if text.endswith(";") and before in ";{}:" and text.count("(") == text.count(")") and "}" not in text:
            yield start + len(line) - len(line.lstrip()), start + len(line.rstrip())
        before = text[-1] if text else before
        start += len(line)


def changes(source):
    code = NO_CODE.sub(lambda part: re.sub(r"[^\n]", " ", part[0]), source)
    for match in SWAPPED.finditer(code):
        yield from ((match.start(), match.end(), other) for other in SWAPS[match[0]])
    for match in NUMBER.finditer(code):
        yield from ((match.start(), match.end(), other) for other in neighbours(match))
    for start, end in conditions(code):
        yield from ((start, end, f"({source[start:end]}) {forced}") for forced in ("|| true", "&& false"))
    yield from ((start, end, ";") for start, end in statements(code))


def mutants_of(file):
    source = (ROOT / file).read_text()
    seen = collections.Counter()
    for start, end, other in changes(source):
        first, last = source.rfind("\n", 0, start) + 1, source.find("\n", end)
        mutant = {"file": file, "line": source.count("\n", 0, start) + 1, "before": source[first:last].strip(),
                  "after": (source[first:start] + other + source[end:last]).strip()}
        seen[mutant["before"], mutant["after"]] += 1
        yield mutant | {"nth": seen[mutant["before"], mutant["after"]], "text": source[:start] + other + source[end:]}


def identity(mutant):
    """The same after lines above it have moved."""
    return tuple(mutant[key] for key in ("file", "before", "after", "nth"))


class Judge:
    def __init__(self, build):
        self.build = build.resolve()
        self.compile_of, self.link_of, self.runs_of = {}, {}, {}
        for entry in json.loads((build / "compile_commands.json").read_text()):
            file = str(pathlib.Path(entry["file"]).relative_to(ROOT))
            if file.split("/")[0] in FOLDERS: self.compile_of[file] = shlex.split(entry["command"])
        for program in PROGRAMS:
            shown = subprocess.run(["ninja", "-C", build, "-t", "commands", "-s", program], capture_output=True,
                                   text=True, check=True).stdout
            self.link_of[program] = shlex.split(next(p for p in shown.split(" && ") if f" -o {program} " in p))
            self.runs_of[program] = self.good_runs(program)
        self.linker = ["-fuse-ld=gold"] if shutil.which("ld.gold") else []

    def good_runs(self, program):
        """The quick tests and the slow ones, each with the time they may take."""
        report = RESULTS.with_name(f"{program}.json")
        if self.run(self.build / program, 600, f"--gtest_output=json:{report}"): sys.exit(f"{program} fails as it is")
        tests = [(f"{suite['name']}.{test['name']}", float(test["time"].rstrip("s")))
                 for suite in json.loads(report.read_text())["testsuites"] for test in suite["testsuite"]]
        slow = ":".join(name for name, seconds in tests if seconds > SLOW_SECONDS)
        seconds = sum(seconds for _, seconds in tests)
        return (f"--gtest_filter=-{slow}", seconds), (f"--gtest_filter={slow or '-*'}", seconds)

    def run(self, program, good_seconds, filter):
        # Processor time: a busy machine is no endless loop.
        limit = int(3 * good_seconds + 5)
        return subprocess.run([program, "--gtest_fail_fast", filter], cwd=program.parent, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL,
                              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_CPU, (limit, limit))).returncode

    def compiles(self, file, text, to, *options):
        to.with_suffix(".cc").write_text(text)
        command = list(self.compile_of[file])
        command[command.index("-o") + 1] = str(to)
        command[command.index("-c") + 1] = str(to.with_suffix(".cc"))
        return subprocess.run(command + list(options), cwd=self.build, capture_output=True).returncode == 0

    def links(self, program, mutant_object, to):
        link = list(self.link_of[program])
        link[link.index("-o"):link.index("-o") + 2] = [str(mutant_object), "-o", str(to)]
        subprocess.run(link + self.linker, cwd=self.build, check=True, capture_output=True)

    def programs(self, mutant):
        """Those with the mutated source in them, the one of its folder first."""
        library = re.search(r"(host_\w+)\.dir/", " ".join(self.compile_of[mutant["file"]]))[1]
        own = OWN_PROGRAM.get(mutant["file"].split("/")[0])
        with_it = [p for p in PROGRAMS if any(f"lib{library}.a" in part for part in self.link_of[p])]
        return sorted(with_it, key=lambda program: program != own)

    def optimises_to_the_same(self, mutant, place):
        objects = set()
        for text in ((ROOT / mutant["file"]).read_text(), mutant["text"]):
            if not self.compiles(mutant["file"], text, place / "optimised.o", "-O2", "-g0"): return False
            objects.add((place / "optimised.o").read_bytes())
        return len(objects) == 1

    def verdict(self, mutant):
        with tempfile.TemporaryDirectory(dir=RESULTS.parent) as folder:
            place = pathlib.Path(folder)
            if not self.compiles(mutant["file"], mutant["text"], place / "mutant.o"): return "does not compile"
            programs = self.programs(mutant)
            for speed in (0, 1):
                for program in programs:
                    if not (place / program).exists(): self.links(program, place / "mutant.o", place / program)
                    filter, seconds = self.runs_of[program][speed]
                    if self.run(place / program, seconds, filter) != 0: return f"killed by {program}"
            return "means nothing" if self.optimises_to_the_same(mutant, place) else "survived"


def shown(mutant):
    return f"{mutant['file']}:{mutant['line']}: {mutant['verdict']}\n  - {mutant['before']}\n  + {mutant['after']}"


def chosen(mutants, count, seed):
    """As many of each folder as its share of all lines."""
    of_folder = collections.defaultdict(list)
    for mutant in mutants: of_folder[mutant["file"].split("/")[0]].append(mutant)
    lines = {folder: len({(m["file"], m["line"]) for m in of_folder[folder]}) for folder in of_folder}
    for folder, of_this in of_folder.items():
        share = round(count * lines[folder] / sum(lines.values()))
        yield from random.Random(f"{seed} {folder}").sample(of_this, min(max(share, 1), len(of_this)))


def summarise(results):
    per_folder = collections.defaultdict(collections.Counter)
    for result in results:
        for name in (result["file"].split("/")[0], "all"): per_folder[name][result["verdict"].split()[0]] += 1
    print(f"{'folder':10} killed survived")
    for name, of in sorted(per_folder.items(), key=lambda item: item[0] == "all"):
        share = 100 * of["killed"] / max(of["killed"] + of["survived"], 1)
        print(f"{name:10} {of['killed']:6} {of['survived']:8}  {share:.1f} %  "
              f"(and {of['does']} that do not compile, {of['means']} that mean nothing)")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--sample", type=int, default=260)
    parser.add_argument("--seed", default="1")
    parser.add_argument("--only", type=pathlib.Path, help="judge the survivors of these results again")
    parser.add_argument("paths", nargs="*", default=FOLDERS)
    # Folders may stand behind the options.
    options = parser.parse_intermixed_args()
    RESULTS.parent.mkdir(parents=True, exist_ok=True)
    judge = Judge(options.build)
    everywhere = [mutant for file in sorted(judge.compile_of) for mutant in mutants_of(file)]
    earlier = json.loads(options.only.read_text()) if options.only else []
    if options.only:
        wanted = {identity(result) for result in earlier if result["verdict"] == "survived"}
        mutants = [mutant for mutant in everywhere if identity(mutant) in wanted]
    else:
        paths = tuple(path.rstrip("/") + "/" for path in options.paths)
        here = [mutant for mutant in everywhere if (mutant["file"] + "/").startswith(paths)]
        mutants = list(chosen(here, options.sample, options.seed))
    print(f"{len(mutants)} of {len(everywhere)} mutants", flush=True)
    results = [result for result in earlier if result["verdict"] != "survived"]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as workers:
        for mutant, verdict in zip(mutants, workers.map(judge.verdict, mutants)):
            told = {key: mutant[key] for key in ("file", "line", "before", "after", "nth")}
            results.append(told | {"verdict": verdict})
            print(shown(results[-1]) if verdict == "survived" else shown(results[-1]).splitlines()[0], flush=True)
            RESULTS.write_text(json.dumps(results, indent=1))
    print("Survivors:", *[shown(result) for result in results if result["verdict"] == "survived"], sep="\n")
    summarise(results)


if __name__ == "__main__":
    main()
