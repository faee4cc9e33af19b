# SPDX-License-Identifier: BSD-2-Clause-Patent
"""The shared scenarios of tests/scenarios as checks on OVMF.

The host tests run the same files over the simulated machine: what the module
does to the test library has to be the same in both worlds, line by line.
"""

import re
from itertools import groupby

from session import RECORDED, Check
from shell import quote
from station import ROOT

_FOLDER = ROOT / "tests" / "scenarios"
_SECTIONS = ("[smbios]", "[variables]", "[command line]", "[transcript]")


def scenario_boots():
    """Machines, as tuples of -smbios options, and the checks to run on each in one boot."""
    scenarios = [read_scenario(file) for file in sorted(_FOLDER.glob("*.scenario"))]
    if not scenarios:
        raise FileNotFoundError(f"no scenarios in {_FOLDER}")
    scenarios.sort(key=lambda scenario: scenario[0])
    return {machine: [check for _, check in group] for machine, group in groupby(scenarios, lambda pair: pair[0])}


def read_scenario(file):
    """A scenario file as its machine and its check."""
    sections = {name: [] for name in _SECTIONS}
    section = None
    for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
        if not line or line.startswith("#"):
            continue
        if line in sections:
            section = sections[line]
        elif section is None or line.startswith("["):
            raise ValueError(f"{file}:{number}: not a section: {line}")
        else:
            section.append(line)
    return tuple(sections["[smbios]"]), _check(file.stem, *(sections[name] for name in _SECTIONS[1:]))


def _check(name, variables, command_line, transcript):
    pairs = [line.split("=", 1) for line in variables]
    return Check(
        f"scenario {name}: the same transcript as on the host",
        (
            *(f"set {variable} {quote(value)}" for variable, value in pairs),
            " ".join(["mfgtest.efi", quote(RECORDED), "--trace", *map(quote, _words(" ".join(command_line)))]),
            *(f"set -d {variable}" for variable, _ in pairs),
        ),
        verdicts=(_verdict(transcript),),
        transcript=tuple(transcript),
    )


def _words(line):
    """Words between blanks; what stands in quotation marks may hold blanks."""
    return [word.replace('"', "") for word in re.findall(r'(?:[^ "]|"[^"]*")+', line)]


def _verdict(transcript):
    if any(line.startswith("ReportError 0 ") for line in transcript):
        return "ERROR"
    return "FAIL" if any(line.startswith("ReportError ") for line in transcript) else "PASS"
