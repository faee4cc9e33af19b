# SPDX-License-Identifier: BSD-2-Clause-Patent
"""A management controller for the machine: build/host/bmc behind QEMU's KCS port."""

import subprocess
import tempfile
from pathlib import Path

from station import ROOT

PROGRAM = ROOT / "build" / "host" / "bmc"

_KCS = ("-device", "isa-ipmi-kcs,bmc=bmc0,ioport=0xca2")


class Controller:
    """Runs while its block does; afterwards `log` holds every exchange.

    machine: the text of a machine file, see tests/ipmi/README.md
    time_limit: seconds after which the program ends in any case
    """

    def __init__(self, machine, time_limit):
        self.log = []
        self.complaint = None
        self._machine = machine
        self._time_limit = time_limit

    def __enter__(self):
        self._folder = tempfile.TemporaryDirectory(prefix="mfgtest-bmc-")
        folder = Path(self._folder.name)
        (folder / "controller.machine").write_text(self._machine, encoding="utf-8")
        self._log_file = folder / "log"
        self._program = subprocess.Popen(
            [PROGRAM, folder / "controller.machine", "--log", self._log_file, "--time-limit", str(self._time_limit)],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        )
        ready = self._program.stdout.readline().split()
        if ready[:1] != ["ready"]:
            raise OSError(f"no management controller: {self._program.communicate()[1]}")
        self._port = ready[1]
        return self

    def __exit__(self, *_):
        try:
            self.complaint = self._program.communicate(timeout=10)[1]
        except subprocess.TimeoutExpired:
            self._program.kill()
            self.complaint = "the management controller did not end with its machine"
            self._program.communicate()
        self.log = self._log_file.read_text(encoding="utf-8").splitlines() if self._log_file.exists() else []
        self._folder.cleanup()

    @property
    def options(self):
        """QEMU's options for the machine."""
        return (
            # QEMU 7.2 falls over a connection that is there before the device.
            *("-chardev", f"socket,id=ipmi0,host=127.0.0.1,port={self._port},reconnect=1"),
            *("-device", "ipmi-bmc-extern,id=bmc0,chardev=ipmi0"),
            *_KCS,
        )


def fru_image(machine, device, file):
    """Writes the image of one FRU device of a machine file."""
    subprocess.run([PROGRAM, machine, "--write-fru", str(device), file], check=True)


def emulated_options(fru_file, size):
    """QEMU's options for its own controller, with FRU devices of `size` bytes each from a file."""
    return ("-device", f"ipmi-bmc-sim,id=bmc0,frudatafile={fru_file},fruareasize={size}", *_KCS)
