# SPDX-License-Identifier: BSD-2-Clause-Patent
"""FAT drives for the simulated machine and for USB sticks.

A drive is an image file made by mtools, so the firmware meets the very file
system of a stick. QEMU can also present a folder as a FAT drive, but calls
writing to it unstable, and what a guest sees of a folder changes with the
folder.
"""

import subprocess
import tempfile
from pathlib import Path, PurePosixPath

_SECTOR = 512
_CLUSTER = 4096  # at most
_FREE = 1024 * 1024  # for what the machine writes


def make_drive(image, files):
    """Writes a FAT image that holds `files`, a dictionary of path and bytes, and some room."""
    image = Path(image)
    image.unlink(missing_ok=True)
    folders = {str(folder): None for path in files for folder in reversed(PurePosixPath(path).parents[:-1])}
    used = sum(len(content) + _CLUSTER for content in files.values()) + len(folders) * _CLUSTER
    sectors = str((used + _FREE) // _SECTOR)
    _mtools("mformat", "-C", "-i", image, "-T", sectors, "-h", "16", "-s", "63", "-v", "MFGTEST", "::")
    for folder in folders:
        _mtools("mmd", "-i", image, f"::{folder}")
    for path, content in files.items():
        _mtools("mcopy", "-i", image, "-", f"::{path}", content=content)


def read_folder(image, folder):
    """The files of a folder on such an image, by name; none when it has no such folder."""
    with tempfile.TemporaryDirectory(prefix="mfgtest-") as copy:
        subprocess.run(["mcopy", "-n", "-s", "-i", image, f"::{folder}", copy], capture_output=True)
        return {file.name: file.read_bytes() for file in sorted(Path(copy, folder).glob("*"))}


def copy_folder(image, folder, to):
    """Copies a folder of a FAT image, with all that is in it, into a folder of the host."""
    _mtools("mcopy", "-s", "-n", "-i", image, f"::{folder}", to)


def _mtools(*command, content=None):
    done = subprocess.run(command, input=content, capture_output=True)
    if done.returncode != 0:
        raise OSError(f"{command[0]} failed: {done.stderr.decode(errors='replace').strip()}")
