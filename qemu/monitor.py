# SPDX-License-Identifier: BSD-2-Clause-Patent
"""A running machine from outside, through QEMU's sockets."""

import json
import socket


def write_memory(path, memory):
    """Writes pairs of address and bytes, through the socket of -qtest."""
    with _connected(path) as stream:
        for address, data in memory:
            _ask(stream, f"write {address:#x} {len(data):#x} 0x{data.hex()}", b"OK")


def take_picture(path, file):
    """Writes what the machine's screen shows into a PNG file and ends the machine, through the socket of -qmp."""
    with _connected(path) as stream:
        stream.readline()  # the greeting
        for command, arguments in (
            ("qmp_capabilities", {}),
            ("screendump", {"filename": str(file), "format": "png"}),
            ("quit", {}),
        ):
            _ask(stream, json.dumps({"execute": command, "arguments": arguments}), b'{"return"')


def _connected(path):
    with socket.socket(socket.AF_UNIX) as connection:
        connection.settimeout(10)
        connection.connect(str(path))
        return connection.makefile("rwb")


def _ask(stream, request, answer):
    stream.write(request.encode() + b"\n")
    stream.flush()
    # Events may come in between.
    while (reply := stream.readline()).startswith(b'{"timestamp"'):
        continue
    if not reply.startswith(answer):
        raise OSError(f"{request}: {reply.decode(errors='replace').strip()}")
