# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Measures the products: bench.py [FIGURE]..., all figures without one. Results go to build/bench/FIGURE.json.

What it measures is built by `make bench`, which takes the figures' names too: make bench FIGURES="identity sizes".

  tests     instructions of every test on the reference server, mandated waits apart
  identity  instructions of tests 1 to 13 beside those of dmidecode for the same table
  growth    instructions on servers that have more and more of something
  firmware  work of every test on OVMF, against the waits of the FRU tests
  line      work of a whole line under start.efi on OVMF, against its waits
  sizes     the images by section, object file and symbol
  records   mfgline's time and memory for the records of 10,000 and 100,000 units

Exit status: 0 when every target is met, 1 otherwise.
"""

import json
import struct
import sys
import time

import firmware
import mfgline_figures
import sizes
from counts import BUILD, count_dmidecode, count_products

_MODULE_BYTES = 98304
_WORK = 0.01
# Of the emulated guest: how many nanoseconds, as a power of 2, an instruction
# takes. The boot waits for seconds of guest time, in instructions; a test has
# the same number of its own whatever this is.
_SHIFT = 5
# A slow server: times below are for so many instructions a second.
_SPEED = 1e9


def _table(heads, rows):
    rows = [[f"{cell:,}" if isinstance(cell, int) else str(cell) for cell in row] for row in rows]
    widths = [max(map(len, column)) for column in zip(heads, *rows)]
    for row in (heads, *rows):
        first, *rest = (cell.rjust(width) for cell, width in zip(row, widths))
        print("  " + "  ".join([row[0].ljust(widths[0]), *rest]))


def _by_subject(parts):
    """Both ways of every subject: (subject, waits, module, library)."""
    for module, library in zip(parts[::2], parts[1::2]):
        assert (module.subject, module.way, library.way) == (library.subject, "module", "library")
        yield module.subject, module.waits, module.instructions, library.instructions


def tests():
    """Every test: the module alone, and with testlib.efi, which reads a parameter file at every start."""
    rows = list(_by_subject(count_products("tests")))
    _table(("test", "waits ms", "module", "with testlib"), rows)
    return rows, []


def _dump():
    """The table as dmidecode --dump-bin writes one: entry point, then the table at 20h, to which the entry points."""
    entry = bytearray((BUILD / "entry.bin").read_bytes())
    struct.pack_into("<I", entry, 0x18, 0x20)
    for checksum, start in ((0x15, 0x10), (0x04, 0)):
        entry[checksum] = 0
        entry[checksum] = -sum(entry[start:]) & 0xFF
    file = BUILD / "smbios.dump"
    file.write_bytes(entry.ljust(0x20, b"\0") + (BUILD / "table.bin").read_bytes())
    return file


def identity():
    """Tests 1 to 13, and dmidecode's main with all that it prints, on the same table."""
    rows = [(name, module, library) for name, _, module, library in _by_subject(count_products("identity", BUILD))]
    dump = _dump()
    reading, process = count_dmidecode("--from-dump", dump)
    one_string, _ = count_dmidecode("-s", "system-serial-number", "--from-dump", dump)
    module = sum(row[1] for row in rows)
    library = max(row[2] for row in rows)
    _table(
        ("", "module", "with testlib"),
        [
            *rows,
            ("all 13", module, sum(row[2] for row in rows)),
            ("dmidecode, the table, main only", reading, ""),
            ("dmidecode, the table, whole process", process, ""),
            ("dmidecode, one string, main only", one_string, ""),
        ],
    )
    targets = [
        (f"the 13 identity checks take {module:,} instructions, dmidecode {reading:,}", module < reading),
        (f"each with testlib.efi takes {library:,} at most, dmidecode {reading:,}", library < reading),
    ]
    return {"tests": rows, "dmidecode": [reading, process, one_string]}, targets


def growth():
    """What one more of something costs, at the small and at the large end."""
    series = {}
    for part in count_products("growth"):
        series.setdefault(part.subject, []).append(part)
    _table(
        ("module, test", "size: instructions", "one more, first", "one more, last"),
        [
            (
                subject,
                "  ".join(f"{part.size}: {part.instructions:,}" for part in parts),
                f"{_slope(parts[:2]):.0f}",
                f"{_slope(parts[-2:]):.0f}",
            )
            for subject, parts in series.items()
        ],
    )
    return {subject: [(part.size, part.instructions) for part in parts] for subject, parts in series.items()}, []


def _slope(two):
    return (two[1].instructions - two[0].instructions) / (two[1].size - two[0].size)


def _share(instructions, waits):
    seconds = instructions / _SPEED
    return seconds / (seconds + waits / 1000)


def _share_of(work):
    return _share(work.instructions, work.waits)


def _after_initialize(work):
    return work.instructions - work.initialize


def _on_line(line):
    if line.startswith("RESULT"):
        print(".", end="", flush=True)


def on_firmware():
    """From StartImage to EndTest, the firmware's own work for the module included, in two boots."""
    boots = []
    for _ in range(2):
        boots.append(firmware.measure(_SHIFT, _on_line))
        print(flush=True)
    rows = []
    for work, again in zip(*boots):
        share = f"{100 * max(_share_of(work), _share_of(again)):.2f} %" if work.waits else ""
        row = (work.instructions, again.instructions, _after_initialize(work), _after_initialize(again), share)
        rows.append((str(work.test), work.waits, *row))
    _table(("test", "waits ms", "instructions", "second boot", "after Initialize", "second boot", "work of time"), rows)
    difference = max(abs(row[2] - row[3]) / row[2] for row in rows)
    print(f"  the two boots differ by {100 * difference:.2f} % at most")
    worst = max((work for one in boots for work in one if work.test in firmware.FRU_TESTS), key=_share_of)
    text = f"beyond its waits, a FRU test works {100 * _share_of(worst):.2f} % of its time at most (test {worst.test})"
    return [[work._asdict() for work in one] for one in boots], [(text, _share_of(worst) < _WORK)]


def line():
    """From the start of start.efi to its end, drivers, tests and firmware included, in one boot with all waits."""
    instructions, waits = firmware.measure_line(_SHIFT, _on_line)
    print(flush=True)
    share = _share(instructions, waits)
    print(f"  {instructions:,} instructions, {waits:,} ms of waits")
    text = f"beyond its waits, a whole line works {100 * share:.2f} % of its time"
    return [instructions, waits], [(text, share < _WORK)]


def image_sizes():
    """Each image, and what is largest in it."""
    found = {image: sizes.measure(image) for image in ("mfgtest", "testlib", "ipmi_kcs", "smbios_entry", "start")}
    for image, parts in found.items():
        sections = ", ".join(f"{name} {size:,}" for name, size in parts["sections"].items())
        print(f"  {image}.efi: {parts['bytes']:,} bytes; {sections}")
        _table(
            ("object file", "bytes", "symbol", "bytes"),
            [
                (place, size, symbol[:60], symbol_size)
                for (place, size), (symbol, symbol_size) in zip(parts["objects"].items(), parts["symbols"].items())
            ],
        )
    size = found["mfgtest"]["bytes"]
    return found, [(f"mfgtest.efi has {size:,} bytes of {_MODULE_BYTES:,}", size <= _MODULE_BYTES)]


def line_records():
    """CPU seconds and memory of mfgline, and of jq and sqlite3 for the same files."""
    figures = mfgline_figures.measure()
    _table(("", "seconds", "MB"), [(name, f"{time:.2f}", f"{memory:.0f}") for name, (time, memory) in figures.items()])
    return figures, mfgline_figures.targets(figures)


_FIGURES = {
    "tests": tests,
    "identity": identity,
    "growth": growth,
    "firmware": on_firmware,
    "line": line,
    "sizes": image_sizes,
    "records": line_records,
}


def main(names):
    if unknown := set(names) - set(_FIGURES):
        print(f"bench.py: unknown {', '.join(sorted(unknown))}\n{__doc__}")
        return 2
    targets = []
    for name in names or _FIGURES:
        figure = _FIGURES[name]
        print(f"==> {name}: {figure.__doc__}", flush=True)
        start = time.monotonic()
        values, judged = figure()
        (BUILD / f"{name}.json").write_text(json.dumps(values, indent=1) + "\n", encoding="utf-8")
        print(f"    {time.monotonic() - start:.0f} s", flush=True)
        targets += judged
    for text, is_met in targets:
        print(f"{'met   ' if is_met else 'MISSED'} {text}")
    return 0 if all(is_met for _, is_met in targets) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
