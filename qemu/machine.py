# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Boots a QEMU machine with OVMF firmware and gives its serial text."""

import os
import select
import shutil
import subprocess
import tempfile
import time
from collections import deque, namedtuple
from pathlib import Path

from console import Console
from drive import make_drive, read_folder
from monitor import write_memory
from shell import script_files

FIRMWARE = Path("/usr/share/OVMF/OVMF_CODE_4M.fd")

Firmware = namedtuple("Firmware", "code variables options")
PLAIN = Firmware(FIRMWARE, Path("/usr/share/OVMF/OVMF_VARS_4M.fd"), ())
# Secure Boot is on, and the firmware's package has the key that it trusts.
SECURE = Firmware(
    Path("/usr/share/OVMF/OVMF_CODE_4M.secboot.fd"),
    Path("/usr/share/OVMF/OVMF_VARS_4M.snakeoil.fd"),
    ("-machine", "smm=on", "-global", "driver=cfi.pflash01,property=secure,value=on"),
)

# Software emulation: a virtual machine under hardware acceleration is not to
# be had everywhere, and a run is short.
_QEMU = (
    "qemu-system-x86_64 -accel tcg -machine q35 -m 256 -nodefaults -display none -vga std -serial stdio -no-reboot"
).split()

# The shell waits five seconds before it starts the script, unless a key comes:
# Escape leads to the prompt.
_COUNTDOWN = "or any other key to continue"
_ESCAPE = "\x1b"
_EXCEPTION = "X64 Exception Type"
# The firmware has put every device in its place.
BOOTS = "BdsDxe: starting"

# The identity of a made-up server, by structure type and by the fields of
# QEMU's -smbios option. Both parameter files expect it, station/mfgtest.cfg and
# demonstration/mfgtest.cfg.
EXAMPLE_SERVER = {
    1: {
        "manufacturer": "Example Systems, Inc.",
        "product": "Rack Server 2U",
        "version": "RS2U-0042-A",
        "serial": "SN-0000001",
    },
    2: {
        "manufacturer": "Example Boards",
        "product": "Main Board",
        "version": "MB-0007-C",
        "serial": "BSN-0000002",
    },
    3: {
        "manufacturer": "Example Sheet Metal",
        "version": "CH-0019-B",
        "serial": "CSN-0000003",
        "asset": "Asset 4711",
    },
}


# The records that machines left on their drives: name and bytes, in the order of the boots.
RECORDS = []


class BootFailed(Exception):
    """The machine did not power off by itself; `lines` is what it said until then."""

    def __init__(self, complaint, console):
        super().__init__(f"{complaint}; the last it said:\n{console.tail()}")
        self.lines = console.lines


def smbios_options(identity):
    """An identity as values of QEMU's -smbios option, which wants commas doubled."""
    for structure, fields in identity.items():
        yield ",".join([f"type={structure}", *(f"{name}={text.replace(',', ',,')}" for name, text in fields.items())])


def boot(
    smbios,
    files,
    commands,
    time_limit,
    on_line=lambda line: None,
    options=(),
    answers=(),
    variables=None,
    firmware=PLAIN,
    memory=(),
    on_off=lambda drive: None,
):
    """Boots a machine once and gives the lines that it said.

    smbios: values of QEMU's -smbios option, and structures as bytes; QEMU makes none of their types of its own
    files: path -> bytes, on the drive fs0: beside the script; None without a drive
    commands: what the shell is to run before the machine powers off; None for a person at the prompt, or no shell
    time_limit: seconds after which the machine is ended and BootFailed raised
    on_line: called with each line as it arrives
    options: further options of QEMU
    answers: what a person types, in this order: each as a prompt and the keys that are sent when it stands there
    variables: the file of a variable store that a later boot is to find again; the first boot makes it
    firmware: PLAIN or SECURE
    memory: pairs of address and bytes that are written once the firmware has placed every device
    on_off: called with the drive's image when the machine is off
    """
    with tempfile.TemporaryDirectory(prefix="mfgtest-") as folder:
        if files is not None:
            drive = Path(folder, "drive.img")
            make_drive(drive, files if commands is None else {**files, **script_files(commands)})
            options = (*_drive_options(drive), *options)
        # A machine starts from factory settings unless somebody keeps its
        # variables: those of one run never reach the next by accident.
        variables = variables or Path(folder, "variables.fd")
        if not variables.exists():
            shutil.copyfile(firmware.variables, variables)
        smbios = _with_files(smbios, Path(folder))
        keys = ((_COUNTDOWN, _ESCAPE if commands is None else " "), *answers)
        if memory:
            socket = Path(folder, "qtest")
            options = (*options, "-qtest", f"unix:{socket},server=on,wait=off", "-qtest-log", "none")
            on_line = _writing(socket, memory, on_line)
        try:
            return _run([*_command_line(smbios, firmware, variables), *options], time_limit, on_line, keys)
        finally:
            if files is not None:
                RECORDS.extend(read_folder(drive, "results").items())
                on_off(drive)


def _writing(socket, memory, on_line):
    """The same, and writes memory when the firmware begins to boot."""

    def see(line):
        nonlocal memory
        if memory and line.startswith(BOOTS):
            write_memory(socket, memory)
            memory = ()
        on_line(line)

    return see


def _with_files(smbios, folder):
    """The values, with files for the structures that are given as bytes."""
    values = []
    for value in smbios:
        if isinstance(value, bytes):
            file = folder / f"structure{len(values)}.bin"
            file.write_bytes(value)
            value = f"file={file}"
        values.append(value)
    return values


def _drive_options(drive):
    # Without a boot index the firmware tries the network first.
    return ("-drive", f"if=none,id=drive,format=raw,file={drive}", "-device", "ide-hd,drive=drive,bootindex=1")


def _command_line(smbios, firmware, variables):
    command = [
        *_QEMU,
        *firmware.options,
        *("-drive", f"if=pflash,format=raw,readonly=on,file={firmware.code}"),
        *("-drive", f"if=pflash,format=raw,file={variables}"),
    ]
    for option in smbios:
        command += ["-smbios", option]
    return command


def _run(command, time_limit, on_line, keys):
    machine = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    console = Console()
    try:
        complaint = _follow(machine, console, time_limit, on_line, deque(keys))
        if not complaint and machine.wait(timeout=10) != 0:
            complaint = f"QEMU ended with status {machine.returncode}"
    finally:
        machine.kill()
        machine.wait()
        machine.stdin.close()
        machine.stdout.close()
    if complaint:
        raise BootFailed(complaint, console)
    return console.lines


def _follow(machine, console, time_limit, on_line, keys):
    """Reads the serial port until the machine closes it; gives what went wrong."""
    deadline = time.monotonic() + time_limit
    complaint = f"the machine did not power off within {time_limit} s"
    typed_at = -1
    while True:
        readable, _, _ = select.select([machine.stdout], [], [], max(0, deadline - time.monotonic()))
        if not readable:
            return complaint
        data = os.read(machine.stdout.fileno(), 65536)
        if not data:
            return None
        finished = console.feed(data)
        # A prompt is answered once: the next one stands on a line of its own.
        if keys and keys[0][0] in console.pending and typed_at < len(console.lines):
            typed_at = len(console.lines)
            machine.stdin.write(keys.popleft()[1].encode())
            machine.stdin.flush()
        for line in finished:
            on_line(line)
            if _EXCEPTION in line:
                # The firmware stays here; the registers it prints follow at once.
                complaint = "the machine stopped at a processor exception"
                deadline = min(deadline, time.monotonic() + 2)
