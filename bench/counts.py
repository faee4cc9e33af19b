# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Instruction counts by valgrind's callgrind: of the products in the host program, and of dmidecode."""

import os
import re
import subprocess
import tempfile
from collections import namedtuple
from pathlib import Path

BUILD = Path(__file__).resolve().parent.parent / "build" / "bench"
PRODUCTS = ("libhost_module.a", "libhost_platform.a", "libhost_testlib.a", "libefi.a")

Part = namedtuple("Part", "figure subject way size waits instructions")
# A call: all that was counted until it returned.
_Edge = namedtuple("_Edge", "from_object caller to_object callee cost")


def _callgrind(options, command):
    """Runs a command under callgrind; gives the files that it leaves, in order, and the command's output."""
    with tempfile.TemporaryDirectory(prefix="mfgtest-bench-") as folder:
        done = subprocess.run(
            ["valgrind", "--quiet", "--tool=callgrind", f"--callgrind-out-file={folder}/part", *options, *command],
            # Calls into shared libraries are bound before the start, not counted with the first one, and no search
            # of the environment depends on who runs this.
            env={"PATH": os.environ["PATH"], "LD_BIND_NOW": "1"},
            capture_output=True,
            text=True,
        )
        if done.returncode != 0:
            raise OSError(f"{' '.join(map(str, command))}: {done.stderr.strip()}")
        files = sorted(Path(folder).glob("part*"), key=lambda file: int(file.suffix[1:] or 0))
        return [file.read_text().splitlines() for file in files], done.stdout


def _edges(lines):
    """The calls of one file, which has every name in full."""
    names = {}
    lines = iter(lines)
    for line in lines:
        key, _, value = line.partition("=")
        if key == "ob":
            names["cob"] = value
        if key in ("ob", "fn", "cob", "cfn"):
            names[key] = re.sub(r"'\d+$", "", value)
        elif key == "calls":
            cost = int(next(lines).split()[1])
            yield _Edge(names["ob"], names["fn"], names["cob"], names["cfn"], cost)
            names["cob"] = names["ob"]


def _symbols(archive):
    listed = subprocess.run(
        ["nm", "--defined-only", "--format=just-symbols", BUILD / archive], check=True, capture_output=True, text=True
    )
    return set(listed.stdout.split())


def count_products(*arguments):
    """The parts of a run of build/bench/bench: from efi_main to its end, without what the simulated machine does.

    The products' symbols are those of their libraries; what they call of the C library counts as theirs."""
    products = set().union(*map(_symbols, PRODUCTS))
    machine = _symbols("libsimulation.a") - products
    files, output = _callgrind(
        (
            *("--toggle-collect=Measured", "--zero-before=Measured", "--dump-after=Measured"),
            *("--demangle=no", "--compress-strings=no"),
            # The simulated machine has memory where a PC has its BIOS.
            "--aspace-minaddr=0x10000",
        ),
        (BUILD / "bench", *arguments),
    )
    named = [line.split("\t") for line in output.splitlines()]
    assert len(files) == len(named) + 1, "one part a line, and the end of the program"
    parts = []
    for name, lines in zip(named, files[1:]):
        edges = list(_edges(lines))
        run = sum(edge.cost for edge in edges if edge.callee == "efi_main")
        outside = sum(edge.cost for edge in edges if edge.caller in products and edge.callee in machine)
        parts.append(Part(*name[:3], *map(int, name[3:]), run - outside))
    return parts


def count_dmidecode(*arguments):
    """The instructions of dmidecode's main, printing included, and of its whole process."""
    files, _ = _callgrind(("--compress-strings=no",), ("dmidecode", *arguments))
    edges = list(_edges(files[0]))
    program = next(edge.to_object for edge in edges if edge.to_object.endswith("/dmidecode"))
    main = max(edge.cost for edge in edges if edge.to_object == program and edge.from_object != program)
    total = next(int(line.split()[1]) for line in files[0] if line.startswith(("summary:", "totals:")))
    return main, total
