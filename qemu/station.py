"""What the drive of a station holds: station.py FOLDER [KEY CERTIFICATE]

Writes the stick's files into a new folder, and a FAT image of them beside it;
signed for Secure Boot when a key and its certificate are given.
"""

import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from drive import make_drive

ROOT = Path(__file__).resolve().parent.parent

# Where firmware looks for what it is to start.
_BOOT_FILE = "EFI/BOOT/BOOTX64.EFI"


def image_files():
    """The images by name."""
    return {image.name: image.read_bytes() for image in sorted((ROOT / "build" / "efi").glob("*.efi"))}


def stick_content(file):
    """A file of the station as it stands on the stick: the shell reads manual pages in UCS-2 only."""
    if file.suffix == ".man":
        return b"\xff\xfe" + file.read_text().replace("\n", "\r\n").encode("utf-16-le")
    return file.read_bytes()


def stick_files():
    """All that a stick for a real server holds, by name, but for what makes it start by itself."""
    return {**image_files(), **{file.name: stick_content(file) for file in sorted((ROOT / "station").iterdir())}}


def bootable(files):
    """The files of a stick that starts by itself."""
    return {**files, _BOOT_FILE: files["start.efi"]}


def signed(files, key, certificate):
    """The files, with a signature on every image."""
    images = {name: _signed(content, key, certificate) for name, content in files.items() if name.endswith(".efi")}
    return {**files, **images}


def _signed(image, key, certificate):
    with tempfile.TemporaryDirectory(prefix="mfgtest-sign-") as folder:
        unsigned, out = Path(folder, "unsigned"), Path(folder, "signed")
        unsigned.write_bytes(image)
        command = ["sbsign", "--key", key, "--cert", certificate, "--output", out, unsigned]
        done = subprocess.run(command, stdin=sys.stdin, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        if done.returncode != 0:
            raise OSError(f"sbsign failed: {done.stderr.strip()}")
        return out.read_bytes()


def write_stick(folder, signer):
    files = stick_files()
    files = bootable(signed(files, *signer) if signer else files)
    shutil.rmtree(folder, ignore_errors=True)
    for path, content in files.items():
        file = folder / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(content)
    image = folder.with_suffix(".img")
    make_drive(image, files)
    used = sum(map(len, files.values()))
    print(f"==> {folder}: {len(files)} files, {used / 1024:.0f} KiB; {image}: {image.stat().st_size / 1024:.0f} KiB")


if __name__ == "__main__":
    signer = [word for word in sys.argv[2:] if word]
    if len(signer) == 1:
        sys.exit("a signature needs both a key and its certificate: KEY=... CERT=...")
    write_stick(Path(sys.argv[1]), signer)
