# SPDX-License-Identifier: BSD-2-Clause-Patent
"""What the library knows of each test, from its own table: test_table.py ipmi names those that need a controller."""

import re
import sys
from pathlib import Path

_FILE = Path(__file__).resolve().parent.parent / "testlib" / "tests.cc"
_ROW = re.compile(r'^ +\{(\d+), u".*", ([\w |]+)(?:, [\d\']+)?\},$', re.M)

_TRAITS = {int(number): traits for number, traits in _ROW.findall(_FILE.read_text(encoding="utf-8"))}


def _with(trait):
    return tuple(number for number, traits in _TRAITS.items() if trait in traits.split(" | "))


ALL, IN_LINE, WRITING, IPMI = tuple(_TRAITS), _with("kInLine"), _with("kWrites"), _with("kIpmi")

if __name__ == "__main__":
    print(*{"all": ALL, "line": IN_LINE, "writing": WRITING, "ipmi": IPMI}[sys.argv[1]])
