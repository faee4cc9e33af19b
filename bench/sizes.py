# SPDX-License-Identifier: BSD-2-Clause-Patent
"""What the images are made of: sections of the .efi, and the linked symbols by object file."""

import re
import subprocess
from collections import Counter
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
_ELF = ROOT / "build" / "image"


def _output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def _symbols(file):
    """Name and size of every symbol that has a size, mangled."""
    listed = _output("nm", "--defined-only", "--print-size", "--no-sort", file)
    return [(fields[3], int(fields[1], 16)) for fields in map(str.split, listed.splitlines()) if len(fields) == 4]


def _objects(image):
    """The object file of every symbol."""
    owners = {}
    for target in (image, "image_platform"):
        folder = _ELF / "CMakeFiles" / f"{target}.dir"
        for file in folder.rglob("*.o"):
            for name, _ in _symbols(file):
                owners.setdefault(name, str(file.relative_to(folder)).removesuffix(".o"))
    return owners


def measure(image):
    """Size, sections, and the largest contributors of an image; what has no symbol is text and other constants."""
    file = ROOT / "build" / "efi" / f"{image}.efi"
    headers = re.findall(r"^ *\d+ (\S+) +([0-9a-f]{8})", _output("objdump", "-h", file), re.M)
    sections = {name: int(size, 16) for name, size in headers}
    symbols = _symbols(_ELF / f"{image}.so")
    owners = _objects(image)
    by_object = Counter()
    for name, size in symbols:
        by_object[owners.get(name, "gnu-efi")] += size
    named = sum(by_object.values())
    by_object["(no symbol)"] = max(0, sum(sections.values()) - named)
    names = _output("c++filt", *(name for name, _ in symbols)).splitlines()
    by_symbol = Counter(dict(zip(names, (size for _, size in symbols))))
    return {
        "bytes": file.stat().st_size,
        "sections": sections,
        "objects": dict(by_object.most_common(12)),
        "symbols": dict(by_symbol.most_common(12)),
    }
