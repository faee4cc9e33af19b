# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Takes the picture of mfgline's page for the quality guide: picture.py PROGRAM OUT.png

The records are made from those of the demonstration servers; a tenth of the units has faults, and for a while an order
expects a wrong serial number.
"""

import shutil
import sys
import tempfile
from pathlib import Path

_ROOT = Path(__file__).resolve().parent.parent
sys.path += [str(_ROOT / "bench"), str(_ROOT / "tests" / "mfgline")]
import record_generator  # noqa: E402
from browser import browse  # noqa: E402
from mfgline import RECORDS, Mfgline, failing, text_of  # noqa: E402


def main():
    program, picture = sys.argv[1:]
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        mfgline = Mfgline(program, folder / "lines.db")
        mfgline("add", "-", text="".join(text for _, _, text in record_generator.records(RECORDS, 12000)))
        wrong = [failing(f"SN-09{n:05}", n, expected="RS2U-0042-B", product="Rack Server 2U") for n in range(7)]
        names = {"2026-11-21": "2026-03-08", "Name": "System_Part_Number", '"4"': '"3"', "Test 4": "System part number"}
        text = text_of(*wrong)
        for old, new in names.items():
            text = text.replace(old, new)
        mfgline("add", "-", text=text)
        mfgline("waive", "37", "unexpected-event", "--reason", "lot 12 of the memory", "--by", "A. Example")
        mfgline("page", folder / "page")
        browse(folder / "page" / "index.html", f"--screenshot={folder / 'page.png'}", "--window-size=1280,1100")
        Path(picture).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(folder / "page.png", picture)


if __name__ == "__main__":
    main()
