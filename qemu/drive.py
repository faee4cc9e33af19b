"""FAT drives for the simulated machine and for USB sticks.

A drive is an image file made by mtools, so the firmware meets the very file
system of a stick. QEMU can also present a folder as a FAT drive, but calls
writing to it unstable, and what a guest sees of a folder changes with the
folder.
"""

import subprocess
from pathlib import Path

_SECTORS = 64 * 1024  # 32 MiB: FAT16


def make_drive(image, files):
    """Writes a FAT image that holds `files`, a dictionary of name and bytes."""
    image = Path(image)
    image.unlink(missing_ok=True)
    _mtools("mformat", "-C", "-i", image, "-T", str(_SECTORS), "-h", "16", "-s", "63", "-v", "MFGTEST", "::")
    for name, content in files.items():
        _mtools("mcopy", "-i", image, "-", f"::{name}", content=content)


def read_folder(image, folder, to):
    """Copies a folder of a FAT image, with all that is in it, into a folder of the host."""
    _mtools("mcopy", "-s", "-n", "-i", image, f"::{folder}", to)


def _mtools(*command, content=None):
    done = subprocess.run(command, input=content, capture_output=True)
    if done.returncode != 0:
        raise OSError(f"{command[0]} failed: {done.stderr.decode(errors='replace').strip()}")
