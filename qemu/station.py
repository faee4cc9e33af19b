"""What the drive of a station holds: the images and the expected values."""

from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent


def image_files():
    """The images by name."""
    return {image.name: image.read_bytes() for image in sorted((ROOT / "build" / "efi").glob("*.efi"))}


def station_files():
    """The files by name; the station's own start-up script is not among them."""
    return {**image_files(), "mfgtest.cfg": (ROOT / "station" / "mfgtest.cfg").read_bytes()}
