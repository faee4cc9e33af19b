# SPDX-License-Identifier: BSD-2-Clause-Patent
"""What the drive of a station holds: the images, the expected values, the scripts."""

import shutil
import sys
from pathlib import Path

from drive import make_drive

ROOT = Path(__file__).resolve().parent.parent


def image_files():
    """The images by name."""
    return {image.name: image.read_bytes() for image in sorted((ROOT / "build" / "efi").glob("*.efi"))}


def stick_content(file):
    """A file of the station as it stands on the stick: the shell reads manual pages in UCS-2 only."""
    if file.suffix == ".man":
        return b"\xff\xfe" + file.read_text().replace("\n", "\r\n").encode("utf-16-le")
    return file.read_bytes()


def stick_files():
    """All that a stick for a real server holds, by name."""
    return {**image_files(), **{file.name: stick_content(file) for file in sorted((ROOT / "station").iterdir())}}


def station_files():
    """The files by name; the station's own start-up script is not among them."""
    return {**image_files(), "mfgtest.cfg": (ROOT / "station" / "mfgtest.cfg").read_bytes()}


def write_stick(folder):
    """Writes the stick's files into a new folder, and a FAT image of them beside it."""
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    for name, content in stick_files().items():
        (folder / name).write_bytes(content)
    make_drive(folder.with_suffix(".img"), stick_files())


if __name__ == "__main__":
    write_stick(Path(sys.argv[1]))
