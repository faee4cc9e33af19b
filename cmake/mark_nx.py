# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Marks a PE32+ image as one that never needs memory both writable and executable: mark_nx.py IMAGE

Signers ask for the mark, and objcopy cannot set it.
"""

import struct
import sys
from pathlib import Path

_NX_COMPAT = 0x100


def marked(data):
    """The image with the mark, and with a checksum that fits again."""
    image = bytearray(data)
    (header,) = struct.unpack_from("<I", image, 0x3C)
    checksum, characteristics = header + 24 + 64, header + 24 + 70
    struct.pack_into("<H", image, characteristics, struct.unpack_from("<H", image, characteristics)[0] | _NX_COMPAT)
    struct.pack_into("<I", image, checksum, 0)
    total = sum(word for (word,) in struct.iter_unpack("<H", image))
    while total > 0xFFFF:
        total = (total & 0xFFFF) + (total >> 16)
    struct.pack_into("<I", image, checksum, total + len(image))
    return image


if __name__ == "__main__":
    file = Path(sys.argv[1])
    file.write_bytes(marked(file.read_bytes()))
