# SPDX-License-Identifier: BSD-2-Clause-Patent
"""SMBIOS structures that QEMU has no options for, as bytes."""

import struct


def structure(structure_type, handle, fields, *strings):
    header = struct.pack("<BBH", structure_type, 4 + len(fields), handle)
    return header + fields + b"".join(text.encode() + b"\0" for text in strings or ("",)) + b"\0"


def event_log(handle, address, start):
    """An event log that is mapped to memory, with data from `start` on; events 01h and 81h."""
    fields = struct.pack("<HHHBBIIBBBBBBB", 0x100, 0, start, 3, 1, 0, address, 1, 2, 2, 1, 0, 0x81, 0)
    return structure(15, handle, fields)


def memory_array(handle, devices):
    return structure(16, handle, struct.pack("<BBBIHHQ", 3, 3, 3, 0x200000, 0xFFFE, devices, 0))


def memory_device(handle, size, speed, locator, bank):
    """A slot with a module of `size` MB and `speed` MHz, or an empty one with neither."""
    fields = struct.pack("<HHHHHBBBBBHH", 0x1000, 0xFFFE, 72, 64, size, 9, 0, 1, 2, 0x18, 0x80, speed)
    return structure(17, handle, fields, locator, bank)
