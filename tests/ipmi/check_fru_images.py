# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Has ipmitool read the FRU devices of a machine file through build/host/bmc.

An independent reader's opinion of the images, of the controller's answers and
of its line protocol; only checksums it leaves to this script. ipmitool speaks to a Unix socket with structures of its
own ("dummy" interface); this script carries each request over to the program.

usage: check_fru_images.py BMC_PROGRAM MACHINE_FILE
"""

import os
import socket
import struct
import subprocess
import sys
import tempfile
import threading
from pathlib import Path

# What ipmitool has to say of devices 0 and 2 of server.machine.
EXPECTED = {
    0: """
 Chassis Type          : Rack Mount Chassis
 Chassis Part Number   : CHS-0019-B
 Chassis Serial        : CSN-0000003
 Board Mfg Date        : Mon Jun 15 00:00:00 2009 GMT
 Board Mfg             : Example Boards
 Board Product         : Main Board
 Board Serial          : BSN-0000002
 Board Part Number     : MB-0007-C
 Product Manufacturer  : Example Systems
 Product Name          : Rack Server 2U
 Product Part Number   : RS2U-0042-A
 Product Version       : 01
 Product Serial        : SN-0000001
""",
    2: """
 Product Manufacturer  : Example Power
 Product Name          : Supply 750 W
 Product Part Number   : PS-0750
 Product Version       : A07
 Product Serial        : PSN-0002
""",
}

_SPECIAL = (0xA0, 0xA1, 0xAA)


def exchange(bmc, sequence, netfn, lun, command, data):
    """One request over the line protocol; the completion code and the data."""
    message = bytes([sequence, netfn << 2 | lun, command]) + data
    message += bytes([-sum(message) & 0xFF])
    bmc.sendall(b"".join(bytes([0xAA, b | 0x10]) if b in _SPECIAL else bytes([b]) for b in message) + b"\xa0")
    answer, escaped = bytearray(), False
    while (byte := bmc.recv(1)[0]) != 0xA0:
        if byte == 0xAA:
            escaped = True
            continue
        answer.append(byte & ~0x10 if escaped else byte)
        escaped = False
    assert sum(answer) & 0xFF == 0 and answer[:3] == bytes([sequence, (netfn | 1) << 2 | lun, command]), answer.hex()
    return answer[3], bytes(answer[4:-1])


def serve(listener, bmc):
    """Takes ipmitool's requests until it closes."""
    client, _ = listener.accept()
    sequence = 0x9F  # the next ones have to be escaped
    while header := client.recv(16, socket.MSG_WAITALL):
        netfn, lun, command, _, length = struct.unpack("=BBBBH10x", header)
        data = client.recv(length, socket.MSG_WAITALL) if length else b""
        if (netfn, command) == (0x3F, 0xFF):  # the interface itself: the end
            break
        code, answer = exchange(bmc, sequence := (sequence + 1) & 0xFF, netfn, lun, command, data)
        client.sendall(struct.pack("=BBBBB3xi4xQ", netfn | 1, command, sequence, lun, code, len(answer), 0) + answer)


def read_with_ipmitool(port, device):
    with tempfile.TemporaryDirectory() as folder, socket.socket(socket.AF_UNIX) as listener:
        path = str(Path(folder, "ipmi"))
        listener.bind(path)
        listener.listen()
        with socket.create_connection(("127.0.0.1", port)) as bmc:
            threading.Thread(target=serve, args=(listener, bmc), daemon=True).start()
            command = ["ipmitool", "-Z", "-I", "dummy", "fru", "print", str(device)]
            environment = {**os.environ, "IPMI_DUMMY_SOCK": path, "LC_ALL": "C"}
            return subprocess.run(command, env=environment, capture_output=True, text=True, timeout=30)


def sums(image):
    """What the common header and the areas that it names add up to."""
    areas = [image[:8], *(image[n * 8 : n * 8 + image[n * 8 + 1] * 8] for n in image[2:5] if n)]
    return [sum(area) & 0xFF for area in areas]


def main():
    program, machine = sys.argv[1:]
    failed = False
    for device, expected in EXPECTED.items():
        with tempfile.NamedTemporaryFile() as image:
            subprocess.run([program, machine, "--write-fru", str(device), image.name], check=True)
            if any(wrong := sums(image.read())):
                failed = True
                print(f"FRU device {device}: the checksums leave {wrong}")
        with subprocess.Popen([program, machine, "--time-limit", "60"], stdout=subprocess.PIPE, text=True) as bmc:
            done = read_with_ipmitool(int(bmc.stdout.readline().split()[1]), device)
        lines = [line.rstrip() for line in done.stdout.splitlines()]
        missing = [line for line in expected.strip("\n").splitlines() if line not in lines]
        if missing or done.stderr or done.returncode != 0:
            failed = True
            print(f"FRU device {device}: not read as", *missing, "ipmitool said", done.stdout, done.stderr, sep="\n")
    return failed


if __name__ == "__main__":
    sys.exit(main())
